// The two exports, start-up with every kind of plug-in file, shut-down, and
// what the built module exposes.
#include <cstdio>
#include <set>
#include <string>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

using Lifecycle = ContextTest;

// Any other object behind the interface: deleteContext must delete it through
// its virtual destructor and leave the module's own context alone.
class StubContext : public SarvikBaseContext {
 public:
  explicit StubContext(bool* deleted) : m_deleted(deleted) {}
  ~StubContext() override { *m_deleted = true; }
  int32_t initialize() override { return 0; }
  int32_t shutdown() override { return 0; }
  int32_t initLog(const char*) override { return 0; }
  int32_t registerDeviceStateCallback(DeviceStateCallback, void*) override { return 0; }
  int32_t getDeviceList(typedefSarvikDeviceInfo**, uint32_t*) override { return 0; }
  int32_t getVideoNodeList(typedefSarvikVideoNodeInfo**, uint32_t*) override { return 0; }
  typedefSarvikDeviceInfo* findDeviceByUri(const char*) override { return nullptr; }
  int32_t openDevice(const char*, sarvik::Device**) override { return 0; }
  int32_t openDeviceByFd(uint32_t, uint32_t, uint32_t, const char*, sarvik::Device**) override { return 0; }
  int32_t deviceTaskControl(uint64_t, uint64_t, uint64_t, uint64_t) override { return 0; }
  int32_t closeDevice(sarvik::Device*) override { return 0; }
  int32_t getFrameModeList(sarvik::Device*, uint32_t, uint64_t, uint64_t) override { return 0; }
  int32_t setFrameMode(sarvik::Device*, uint32_t, const typedefSarvikFrameMode*) override { return 0; }
  const typedefSarvikFrameMode* getCurrentFrameMode(sarvik::Device*, uint32_t) override { return nullptr; }
  int32_t openStream(sarvik::Device*, uint32_t, sarvik::VideoStream**, StreamFrameCallback, void*) override {
    return 0;
  }
  int32_t closeStream(sarvik::VideoStream*) override { return 0; }
  int32_t waitForStreams(sarvik::VideoStream**, int32_t, sarvik::VideoStream**, int32_t) override { return 0; }
  int32_t readFrame(sarvik::VideoStream*, typedefSarvikFrame**, uint32_t) override { return 0; }
  int32_t releaseFrame(typedefSarvikFrame*) override { return 0; }
  int32_t setDeviceProperty(sarvik::Device*, uint32_t, void*, uint32_t) override { return 0; }
  int32_t getDeviceProperty(sarvik::Device*, uint32_t, void*, uint32_t*) override { return 0; }
  int32_t sendDeviceCommand(sarvik::Device*, void*, uint32_t, uint64_t, uint64_t) override { return 0; }
  int32_t setStreamFlagMode(sarvik::Device*, int32_t) override { return 0; }
  int32_t createRecorder(const char*, sarvik::StreamRecorder**) override { return 0; }
  int32_t attachStreamToRecorder(sarvik::StreamRecorder*, sarvik::VideoStream*) override { return 0; }
  int32_t startRecorder(sarvik::StreamRecorder*) override { return 0; }
  int32_t stopRecorder(sarvik::StreamRecorder*) override { return 0; }
  int32_t destroyRecorder(sarvik::StreamRecorder*) override { return 0; }
  int32_t queryDeviceData(sarvik::Device*, void*) override { return 0; }
  int32_t setLogLevel(uint32_t) override { return 0; }
  int32_t setLogFilePath(const char*) override { return 0; }
  int32_t getDeviceProperty72(sarvik::Device*, void*) override { return 0; }
  void setLastError(uint32_t) override {}
  int32_t reservedVariadic(int32_t, int32_t, ...) override { return 0; }
  int32_t saveBmpSnapshot(const char*) override { return 0; }
  int32_t depthToPointCloud(const uint16_t*, uint32_t, uint32_t, float, float, float, float, float,
                            typedefSarvikPoint3D*, uint32_t, bool) override {
    return 0;
  }
  int32_t deviceDepthToPointCloud(sarvik::Device*, const uint16_t*, uint32_t, uint32_t, float, float, float, float,
                                  float, typedefSarvikPoint3D*, uint32_t, bool) override {
    return 0;
  }
  int32_t depthToColouredCloud(const uint16_t*, uint32_t, uint32_t, float, float, float, float, float,
                               typedefSarvikPoint3D*, typedefSarvikRGBA*, uint32_t) override {
    return 0;
  }
  int32_t startDeviceTask(sarvik::Device*, uint64_t, uint64_t) override { return 0; }
  int32_t deviceTaskNotify(uint32_t, uint32_t, uint64_t, uint32_t) override { return 0; }
  int32_t setFrameCallback(sarvik::VideoStream*, StreamFrameCallback, void*) override { return 0; }
  int32_t setUvcDriverFlag(uint8_t) override { return 0; }
  int32_t setUvcDriverText(std::string) override { return 0; }

 private:
  bool* m_deleted;
};

TEST_F(Lifecycle, DeleteContextIgnoresNullAndDeletesAForeignPointerOnly) {
  load();
  deleter()(nullptr);
  EXPECT_EQ(ctx(), factory()());

  bool deleted = false;
  deleter()(new StubContext(&deleted));
  EXPECT_TRUE(deleted);
  EXPECT_EQ(ctx(), factory()());
  EXPECT_EQ(0, ctx()->initialize());
}

TEST_F(Lifecycle, DeletingTheRunningContextShutsItDownAndANewOneStartsAfresh) {
  load();
  uvc().setDevices(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
  ASSERT_EQ(0, ctx()->initialize());
  open("usb://0");

  deleter()(ctx());
  forgetContext();
  auto calls = uvc().calls();
  EXPECT_LT(indexOf(calls, "closeDevice(usb://0)"), indexOf(calls, "driverDestroy"));
  EXPECT_TRUE(uvc().driverDestroyed());

  log().clear();
  adoptContext(factory()());
  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(-2, ctx()->getDeviceList(&list, &count));
  EXPECT_TRUE(logged(3, "not Initialized! ")) << "the new context must have bound the log again";
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_EQ(2u, deviceCount()) << "the table must be filled afresh, not added to";
  EXPECT_EQ(2, uvc().instancesMade());
}

TEST_F(Lifecycle, InitializeWithoutAnyPluginRunsWithAnEmptyTable) {
  load({PluginKind::kNone, PluginKind::kNone});
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_EQ(1u, loggedCount(4, "failed to load Driver(libSarvikUvcDriver.so)\n"));
  EXPECT_EQ(1u, loggedCount(4, "failed to load Driver(libSarvikNetDriver.so)\n"));
  EXPECT_TRUE(logged(4, "cur Driver Path = libSarvikUvcDriver.so"));
  EXPECT_EQ(0u, deviceCount());
  EXPECT_EQ(0, ctx()->shutdown());
}

TEST_F(Lifecycle, AFileBesideTheModuleWithoutDriverInstanceIsPassedOverForTheBareName) {
  load({PluginKind::kNoInstance, PluginKind::kFake});
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_TRUE(logged(4, "cur Driver Path = libSarvikUvcDriver.so"));
  EXPECT_TRUE(logged(4, "cur Driver Path = " + pluginPath(PluginSlot::kNet)));
  EXPECT_FALSE(isLoaded(pluginPath(PluginSlot::kUvc))) << "the rejected file must not even be loaded";
  EXPECT_FALSE(logged(4, "Load uvc driver succeed!"));
  EXPECT_TRUE(logged(4, "Load net driver succeed!"));
}

TEST_F(Lifecycle, ANullInstanceBindsNothingAndItsModuleIsFreedAtShutdown) {
  load({PluginKind::kNullInstance, PluginKind::kNone});
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_FALSE(logged(4, "Load uvc driver succeed!"));
  EXPECT_TRUE(isLoaded(pluginPath(PluginSlot::kUvc))) << "the module stays loaded until shutdown";
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t count = 7;
  EXPECT_EQ(0, ctx()->getVideoNodeList(&nodes, &count));
  EXPECT_EQ(nullptr, nodes) << "no plug-in may have been entered";
  EXPECT_EQ(0u, count);
  EXPECT_EQ(-1, ctx()->setUvcDriverFlag(1));

  EXPECT_EQ(0, ctx()->shutdown());
  EXPECT_FALSE(isLoaded(pluginPath(PluginSlot::kUvc)));
}

TEST_F(Lifecycle, APluginWithoutDriverDestroyWorksAndIsFreedAtShutdown) {
  load({PluginKind::kNoDestroy, PluginKind::kNone});
  uvc().setDevices(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_TRUE(logged(4, "Load uvc driver succeed!"));
  open("usb://0");
  EXPECT_EQ(0, ctx()->shutdown());
  EXPECT_TRUE(has(uvc().calls(), "closeDevice(usb://0)"));
  EXPECT_FALSE(has(uvc().calls(), "driverDestroy"));
  // With the test's own hold gone, only the module could keep it loaded.
  releaseControl(PluginSlot::kUvc);
  EXPECT_FALSE(isLoaded(pluginPath(PluginSlot::kUvc)));
}

TEST_F(Lifecycle, AFailingUvcInitializeStopsBeforeTheNetPluginAndIsUnwound) {
  load();
  uvc().setDevices(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  net().setDevices(deviceRecords("net://", 1, SARVIK_CONNECTION_NET));
  uvc().setResult(FakeOp::kInitialize, -77);
  EXPECT_EQ(-77, ctx()->initialize());
  EXPECT_TRUE(logged(3, "initialize 1 driver  failed!"));
  EXPECT_FALSE(has(net().calls(), "initialize"));
  // Nothing would ever destroy plug-ins left bound by a failed start: they are
  // unwound at once, so that the modules are not freed under live objects.
  EXPECT_TRUE(uvc().driverDestroyed());
  EXPECT_TRUE(net().driverDestroyed());
  EXPECT_FALSE(logged(4, "Sarvik SDK  Initialize End"));
  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(-2, ctx()->getDeviceList(&list, &count));

  uvc().setResult(FakeOp::kInitialize, 0);
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_EQ(2u, deviceCount());
  EXPECT_EQ(1u, countOf(net().calls(), "initialize"));
  open("usb://0");
  open("net://0");
}

TEST_F(Lifecycle, AFailingDeviceListEndsInitializeWithMinusOne) {
  load();
  uvc().setDevices(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  uvc().setResult(FakeOp::kGetDeviceList, -5);
  EXPECT_EQ(-1, ctx()->initialize());
  EXPECT_TRUE(logged(4, "get device list failed"));
  EXPECT_FALSE(has(net().calls(), "initialize"));

  uvc().setResult(FakeOp::kGetDeviceList, 0);
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_EQ(1u, deviceCount());
}

TEST_F(Lifecycle, CountsAboveTheRoomAreClampedToTheTable) {
  load();
  uvc().setDevices(deviceRecords("usb://", 40, SARVIK_CONNECTION_USB));
  net().setDevices(deviceRecords("net://", 40, SARVIK_CONNECTION_NET));
  net().setReportedCount(40);  // claims more than the room it was told
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_TRUE(has(uvc().calls(), "getDeviceList(room=60)"));
  EXPECT_TRUE(has(net().calls(), "getDeviceList(room=20)"));
  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(0, ctx()->getDeviceList(&list, &count));
  ASSERT_EQ(60u, count);
  EXPECT_STREQ("usb://39", list[39].uri);
  EXPECT_STREQ("net://0", list[40].uri);
  EXPECT_STREQ("net://19", list[59].uri);
}

TEST_F(Lifecycle, AFirstPluginClaimingMoreThanTheTableLeavesNoRoomForTheSecond) {
  load();
  uvc().setDevices(deviceRecords("usb://", 60, SARVIK_CONNECTION_USB));
  uvc().setReportedCount(75);
  net().setDevices(deviceRecords("net://", 3, SARVIK_CONNECTION_NET));
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_EQ(60u, deviceCount());
  EXPECT_FALSE(has(net().calls(), "getDeviceList(room=60)"));
}

TEST_F(Lifecycle, ASecondInitializeLoadsNothing) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  log().clear();
  EXPECT_EQ(0, ctx()->initialize());
  EXPECT_TRUE(logged(4, "Sarvik SDK Already Initialize"));
  EXPECT_FALSE(logged(4, "Load uvc driver succeed!"));
  EXPECT_EQ(1, uvc().instancesMade());
  EXPECT_EQ(1u, countOf(uvc().calls(), "initialize"));
  EXPECT_EQ(1u, deviceCount());
}

TEST_F(Lifecycle, StartUpWritesItsMilestonesInOrder) {
  load();
  log().clear();
  ASSERT_EQ(0, ctx()->initialize());
  const std::vector<std::pair<int32_t, std::string>> expected = {
      {4, "Sarvik SDK  Initialize start"},
      {1, ""},
      {1, "Sarvik SDK Version 2.0.182"},
      {4, "cur Driver Path = " + pluginPath(PluginSlot::kUvc)},
      {4, "Load uvc driver succeed!"},
      {4, "cur Driver Path = " + pluginPath(PluginSlot::kNet)},
      {4, "Load net driver succeed!"},
      {4, "Sarvik SDK  Initialize End"},
  };
  const auto records = log().records();
  ASSERT_EQ(expected.size(), records.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(expected[i].first, records[i].level) << i;
    EXPECT_EQ(expected[i].second, records[i].text) << i;
    EXPECT_EQ("SarvikCommonDriver", records[i].tag) << i;
  }
  // Each plug-in gets its callback before its initialize, and UVC comes first.
  const auto calls = uvc().calls();
  EXPECT_LT(indexOf(calls, "setDeviceStateCallback"), indexOf(calls, "initialize"));
  EXPECT_LT(indexOf(calls, "initialize"), indexOf(calls, "getDeviceList(room=60)"));
}

TEST_F(Lifecycle, ShutdownEndsStreamsThenDevicesThenPluginsThenTasks) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  sarvik::Device* device = open("usb://0");
  sarvik::VideoStream* stream = nullptr;
  ASSERT_EQ(0, ctx()->openStream(device, SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr));
  ASSERT_EQ(0, ctx()->startDeviceTask(device, 1, 2));
  log().clear();

  ASSERT_EQ(0, ctx()->shutdown());
  const auto calls = uvc().calls();
  const long stop = indexOf(calls, "stop(2)");
  const long close = indexOf(calls, "closeDevice(usb://0)");
  const long destroy = indexOf(calls, "driverDestroy");
  const long task = indexOf(calls, "~task(usb://0)");
  ASSERT_GE(stop, 0);
  EXPECT_LT(stop, close);
  EXPECT_LT(close, destroy);
  EXPECT_LT(destroy, task);
  EXPECT_EQ(0, uvc().openDevices());
  EXPECT_EQ(0, uvc().liveTasks());
  EXPECT_TRUE(net().driverDestroyed());

  const auto records = log().records();
  ASSERT_GE(records.size(), 2u);
  EXPECT_EQ(1, records[0].level);
  EXPECT_EQ("", records[0].text);
  long streamRelease = -1, deviceRelease = -1;
  for (size_t i = 0; i < records.size(); ++i) {
    if (records[i].level == 0 && records[i].text == "begin release:stop stream") streamRelease = i;
    if (records[i].level == 0 && records[i].text == "begin release:close device") deviceRelease = i;
  }
  ASSERT_GE(streamRelease, 0);
  EXPECT_LT(streamRelease, deviceRelease);
}

TEST_F(Lifecycle, AContextStartsAgainAfterShutdown) {
  start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
  open("usb://0");
  ASSERT_EQ(0, ctx()->startDeviceTask(open("usb://1"), 0, 0));
  ASSERT_EQ(0, ctx()->shutdown());

  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_EQ(2, uvc().instancesMade());
  EXPECT_EQ(2u, deviceCount());
  sarvik::Device* device = open("usb://0");
  EXPECT_FALSE(logged(4, "Device[usb://0] is already opened!")) << "the old device list must be gone";
  EXPECT_EQ(0, ctx()->startDeviceTask(device, 0, 0));
  EXPECT_EQ(0, ctx()->deviceTaskNotify(1, 2, 3, 4));
  EXPECT_TRUE(has(uvc().calls(), "task.notify(usb://0,3,1,2,4)"));
  ctx()->deviceTaskControl(1, 1, 1, 1);
  EXPECT_TRUE(has(uvc().calls(), "task.control(usb://0,1,1,1,1)"));
  EXPECT_FALSE(has(uvc().calls(), "task.control(usb://1,1,1,1,1)")) << "tasks of the first run are gone";
  EXPECT_EQ(0, ctx()->shutdown());
}

// --- The built file itself ---

std::string runCommand(const std::string& command, int* status) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    *status = -1;
    return output;
  }
  char buffer[512];
  while (fgets(buffer, sizeof(buffer), pipe) != nullptr) output += buffer;
  *status = pclose(pipe);
  return output;
}

TEST(ModuleFile, ExportsOnlyTheTwoEntryPoints) {
  int status = 0;
  const std::string output = runCommand("nm -D --defined-only " + builtModulePath() + " 2>&1", &status);
  if (status != 0) GTEST_SKIP() << "nm is not usable here: " << output;
  std::set<std::string> names;
  size_t start = 0;
  while (start < output.size()) {
    size_t end = output.find('\n', start);
    if (end == std::string::npos) end = output.size();
    const std::string line = output.substr(start, end - start);
    start = end + 1;
    const size_t space = line.rfind(' ');
    if (space == std::string::npos) continue;
    const std::string name = line.substr(space + 1);
    // Version nodes and what a sanitizer runtime adds are not the module's own.
    if (name.empty() || name.compare(0, 2, "__") == 0 || line.find(" A ") != std::string::npos) continue;
    names.insert(name);
  }
  EXPECT_EQ((std::set<std::string>{"ContextFactory", "deleteContext"}), names) << output;
}

TEST(ModuleFile, CarriesNoRunpath) {
  int status = 0;
  const std::string output = runCommand("readelf -d " + builtModulePath() + " 2>&1", &status);
  if (status != 0) GTEST_SKIP() << "readelf is not usable here: " << output;
  EXPECT_EQ(std::string::npos, output.find("RPATH")) << output;
  EXPECT_EQ(std::string::npos, output.find("RUNPATH")) << output;
}

}  // namespace
}  // namespace sarvik_test
