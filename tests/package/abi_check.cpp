// The binary contract as an application built elsewhere sees it: compiled
// with the installed include/ as its only include path, it pins the record
// layouts and the vtable position of every operation, then loads the
// installed module and calls each operation it can on a simulated camera.
//
//   abi_check MODULE_DIR SCRATCH_DIR
// MODULE_DIR: where the module must have been loaded from; SCRATCH_DIR: an
// empty writable folder. Prints each failed check; exit 0 when none failed.
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "sarvik/SarvikCamera.h"
#include "sarvik/SarvikLoader.h"
#include "sarvik/SarvikRecordFile.h"
#include "sarvik/SarvikStatus.h"

namespace {

// Literal numbers on purpose: a header that changes a layout together with
// its own static_assert still fails here.
static_assert(sizeof(typedefSarvikDeviceInfo) == 593 && offsetof(typedefSarvikDeviceInfo, uri) == 80, "device record");
static_assert(offsetof(typedefSarvikDeviceInfo, serialNumber) == 12 && offsetof(typedefSarvikDeviceInfo, name) == 44,
              "device record");
static_assert(sizeof(typedefSarvikVideoNodeInfo) == 68 && offsetof(typedefSarvikVideoNodeInfo, path) == 4, "node");
static_assert(sizeof(typedefSarvikFrame) == 44 && offsetof(typedefSarvikFrame, frameStamp) == 12, "frame record");
static_assert(offsetof(typedefSarvikFrame, width) == 24 && offsetof(typedefSarvikFrame, data) == 36, "frame record");
static_assert(offsetof(typedefSarvikFrameMode, modeValue2) == 8, "frame mode head");
static_assert(sizeof(typedefSarvikPoint3D) == 12 && sizeof(typedefSarvikRGBA) == 16, "point and colour");
static_assert(sizeof(SarvikRecordTag) == 26 && offsetof(SarvikRecordTag, dataSize) == 14, "record tag");
static_assert(sizeof(SarvikModeRecord) == 24 && sizeof(SarvikIntrinsics) == 24, "camera records");
static_assert(sizeof(SarvikDeviceInfoBlock) == 82 && sizeof(SarvikDeviceStatus) == 184, "camera records");

int g_failures = 0;

void expect(bool ok, const char* what, long long got = 0) {
  if (ok) return;
  std::fprintf(stderr, "FAILED: %s (got %lld)\n", what, got);
  ++g_failures;
}

void expectOk(int32_t status, const char* what) { expect(status == 0, what, status); }

// Itanium C++ ABI: a pointer to a virtual member holds 1 + its byte offset in
// the vtable. The destructor fills entries 0 and 1, so operation n sits at
// entry n + 1.
template <typename Member>
long long vtableEntry(Member member) {
  ptrdiff_t word = 0;
  static_assert(sizeof(Member) >= sizeof word, "member pointer holds the offset first");
  std::memcpy(&word, &member, sizeof word);
  return (word - 1) / static_cast<ptrdiff_t>(sizeof(void*));
}

void checkVtable() {
  using C = SarvikBaseContext;
  const long long entries[] = {
      vtableEntry(&C::initialize), vtableEntry(&C::shutdown), vtableEntry(&C::initLog),
      vtableEntry(&C::registerDeviceStateCallback), vtableEntry(&C::getDeviceList),
      vtableEntry(&C::getVideoNodeList), vtableEntry(&C::findDeviceByUri), vtableEntry(&C::openDevice),
      vtableEntry(&C::openDeviceByFd), vtableEntry(&C::deviceTaskControl), vtableEntry(&C::closeDevice),
      vtableEntry(&C::getFrameModeList), vtableEntry(&C::setFrameMode), vtableEntry(&C::getCurrentFrameMode),
      vtableEntry(&C::openStream), vtableEntry(&C::closeStream), vtableEntry(&C::waitForStreams),
      vtableEntry(&C::readFrame), vtableEntry(&C::releaseFrame), vtableEntry(&C::setDeviceProperty),
      vtableEntry(&C::getDeviceProperty), vtableEntry(&C::sendDeviceCommand), vtableEntry(&C::setStreamFlagMode),
      vtableEntry(&C::createRecorder), vtableEntry(&C::attachStreamToRecorder), vtableEntry(&C::startRecorder),
      vtableEntry(&C::stopRecorder), vtableEntry(&C::destroyRecorder), vtableEntry(&C::queryDeviceData),
      vtableEntry(&C::setLogLevel), vtableEntry(&C::setLogFilePath), vtableEntry(&C::getDeviceProperty72),
      vtableEntry(&C::setLastError), vtableEntry(&C::reservedVariadic), vtableEntry(&C::saveBmpSnapshot),
      vtableEntry(&C::depthToPointCloud), vtableEntry(&C::deviceDepthToPointCloud),
      vtableEntry(&C::depthToColouredCloud), vtableEntry(&C::startDeviceTask), vtableEntry(&C::deviceTaskNotify),
      vtableEntry(&C::setFrameCallback), vtableEntry(&C::setUvcDriverFlag), vtableEntry(&C::setUvcDriverText)};
  for (size_t slot = 1; slot <= sizeof entries / sizeof entries[0]; ++slot) {
    if (entries[slot - 1] != static_cast<long long>(slot) + 1) {
      std::fprintf(stderr, "FAILED: operation of slot %zu at vtable entry %lld\n", slot, entries[slot - 1]);
      ++g_failures;
    }
  }
}

void onDeviceState(const char*, const char*, uint32_t, void*) {}

struct CallbackCount {
  SarvikBaseContext* sdk;
  std::atomic<int> frames{0};
};

void onFrame(sarvik::VideoStream*, typedefSarvikFrame* frame, void* user) {
  auto* count = static_cast<CallbackCount*>(user);
  ++count->frames;
  count->sdk->releaseFrame(frame);
}

bool fileStartsWith(const std::string& path, const char* head) {
  char bytes[8] = {};
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  const size_t n = std::fread(bytes, 1, std::strlen(head), file);
  std::fclose(file);
  return n == std::strlen(head) && std::memcmp(bytes, head, n) == 0;
}

void checkImaging(SarvikBaseContext* sdk, sarvik::Device* device) {
  // 4 wide (no pixel offsets), one sample at column 3, row 1: every number
  // below is exact in float.
  const uint16_t depth[8] = {0, 0, 0, 0, 0, 0, 0, 400};
  typedefSarvikPoint3D points[8];
  std::memset(points, 0xff, sizeof points);
  expectOk(sdk->depthToPointCloud(depth, 4, 2, 2.0f, 4.0f, 8.0f, 1.0f, 0.5f, points, 0, true), "depthToPointCloud");
  expect(points[7].x == 25.0f && points[7].y == 3.125f && points[7].z == 50.0f, "point of the one sample");
  expect(points[0].x == 0.0f && points[0].y == 0.0f && points[0].z == 0.0f, "zero sample gives the zero point");
  std::memset(points, 0, sizeof points);
  expectOk(sdk->deviceDepthToPointCloud(device, depth, 4, 2, 2.0f, 4.0f, 8.0f, 1.0f, 0.5f, points, 0, true),
           "deviceDepthToPointCloud");
  expect(points[7].z == 50.0f, "device conversion of the one sample", static_cast<long long>(points[7].z));
  typedefSarvikRGBA colours[8];
  expectOk(sdk->depthToColouredCloud(depth, 4, 2, 2.0f, 4.0f, 8.0f, 1.0f, 0.5f, points, colours, 0),
           "depthToColouredCloud");
}

void checkDeviceCommands(SarvikBaseContext* sdk, sarvik::Device* device) {
  uint32_t modes = 0;
  expectOk(sdk->getFrameModeList(device, SARVIK_STREAM_DEPTH, 0, reinterpret_cast<uintptr_t>(&modes)),
           "getFrameModeList count");
  expect(modes >= 1, "depth modes listed", modes);
  SarvikModeRecord first{};
  uint32_t room = 1;
  expectOk(sdk->getFrameModeList(device, SARVIK_STREAM_DEPTH, reinterpret_cast<uintptr_t>(&first),
                                 reinterpret_cast<uintptr_t>(&room)),
           "getFrameModeList");
  const typedefSarvikFrameMode* current = sdk->getCurrentFrameMode(device, SARVIK_STREAM_DEPTH);
  expect(current != nullptr && sarvikModeEquals(*current, first.mode), "the device opens with its first mode");
  expectOk(sdk->setFrameMode(device, SARVIK_STREAM_DEPTH, &first.mode), "setFrameMode");

  int32_t value = 1234567;
  uint32_t length = sizeof value;
  expectOk(sdk->setDeviceProperty(device, 10, &value, length), "setDeviceProperty");
  value = 0;
  expectOk(sdk->getDeviceProperty(device, 10, &value, &length), "getDeviceProperty");
  expect(value == 1234567 && length == sizeof value, "property round trip", value);

  char reply[16] = {};
  uint32_t replyRoom = sizeof reply;
  expectOk(sdk->sendDeviceCommand(device, const_cast<char*>(SARVIK_COMMAND_PING), 4,
                                  reinterpret_cast<uintptr_t>(reply), reinterpret_cast<uintptr_t>(&replyRoom)),
           "sendDeviceCommand(ping)");
  expect(std::strcmp(reply, "pong") == 0, "ping answers pong");
  expectOk(sdk->setStreamFlagMode(device, 4), "setStreamFlagMode");

  SarvikDeviceStatus status{};
  status.size = sizeof status;
  expectOk(sdk->queryDeviceData(device, &status), "queryDeviceData");
  expect(status.version == 1 && status.size == sizeof status, "device status record", status.size);
  uint8_t block[82] = {};
  expectOk(sdk->getDeviceProperty72(device, block), "getDeviceProperty72");
}

void checkTask(SarvikBaseContext* sdk, sarvik::Device* device) {
  expectOk(sdk->startDeviceTask(device, 11, 22), "startDeviceTask");
  expectOk(sdk->deviceTaskNotify(1, 2, 3, 4), "deviceTaskNotify");
  SarvikTaskRecord record{};
  expectOk(sdk->deviceTaskControl(kSarvikTaskReadRecord, reinterpret_cast<uintptr_t>(&record), 0, 0),
           "deviceTaskControl");
  expect(record.starts == 1 && record.startWords[0] == 11 && record.notifies == 1 && record.notifyC == 3,
         "the task heard start and notify", record.starts);
}

void checkStreams(SarvikBaseContext* sdk, sarvik::Device* device, const std::string& scratch) {
  sarvik::VideoStream* depth = nullptr;
  expectOk(sdk->openStream(device, SARVIK_STREAM_DEPTH, &depth, nullptr, nullptr), "openStream(depth)");
  sarvik::StreamRecorder* recorder = nullptr;
  const std::string record = scratch + "/record/depth.rec";
  expectOk(sdk->createRecorder(record.c_str(), &recorder), "createRecorder");
  expectOk(sdk->attachStreamToRecorder(recorder, depth), "attachStreamToRecorder");
  expectOk(sdk->startRecorder(recorder), "startRecorder");

  sarvik::VideoStream* ready = nullptr;
  expectOk(sdk->waitForStreams(&depth, 1, &ready, 5000), "waitForStreams");
  expect(ready == depth, "the waited stream is ready");
  for (int i = 0; i < 3; ++i) {
    typedefSarvikFrame* frame = nullptr;
    expectOk(sdk->readFrame(depth, &frame, 5000), "readFrame");
    if (frame == nullptr) break;
    expect(frame->streamType == SARVIK_STREAM_DEPTH && frame->dataSize == frame->width * frame->height * 2,
           "depth frame record", frame->dataSize);
    expectOk(sdk->releaseFrame(frame), "releaseFrame");
  }
  expectOk(sdk->stopRecorder(recorder), "stopRecorder");
  expectOk(sdk->destroyRecorder(recorder), "destroyRecorder");
  struct stat info {};
  expect(stat(record.c_str(), &info) == 0 && info.st_size >= 26, "record file written", info.st_size);

  CallbackCount count{sdk};
  sarvik::VideoStream* colour = nullptr;
  expectOk(sdk->openStream(device, SARVIK_STREAM_COLOR, &colour, nullptr, nullptr), "openStream(color)");
  // The snapshot reads the frame the stream holds: before a callback takes them.
  expectOk(sdk->waitForStreams(&colour, 1, &ready, 5000), "waitForStreams(color)");
  const std::string bmp = scratch + "/snapshot.bmp";
  expectOk(sdk->saveBmpSnapshot(bmp.c_str()), "saveBmpSnapshot");
  expect(fileStartsWith(bmp, "BM"), "snapshot is a BMP file");
  expectOk(sdk->setFrameCallback(colour, onFrame, &count), "setFrameCallback");
  for (int i = 0; i < 500 && count.frames < 2; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  expect(count.frames >= 2, "frames by callback", count.frames);
  expectOk(sdk->closeStream(colour), "closeStream(color)");
  expectOk(sdk->closeStream(depth), "closeStream(depth)");
}

void checkSession(SarvikBaseContext* sdk, const std::string& scratch) {
  expectOk(sdk->initLog(nullptr), "initLog");
  expectOk(sdk->setLogLevel(kLogError), "setLogLevel");
  expectOk(sdk->setLogFilePath((scratch + "/sarvik.log").c_str()), "setLogFilePath");
  sdk->setLastError(0);
  expectOk(sdk->reservedVariadic(1, 2, 3), "reservedVariadic");
  expectOk(sdk->initialize(), "initialize");
  expectOk(sdk->registerDeviceStateCallback(onDeviceState, nullptr), "registerDeviceStateCallback");
  expectOk(sdk->setUvcDriverFlag(0), "setUvcDriverFlag");
  // What a text means is the plug-in's business; the call must only arrive.
  const int32_t text = sdk->setUvcDriverText(std::string(SARVIK_UVC_TEXT_UNPLAY "/nonexistent.rec"));
  expect(sarvikStatusName(text) != nullptr, "setUvcDriverText gives a known status", text);

  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  expectOk(sdk->getDeviceList(&list, &count), "getDeviceList");
  expect(count >= 1, "simulated cameras listed", count);
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  uint32_t nodeCount = 0;
  expectOk(sdk->getVideoNodeList(&nodes, &nodeCount), "getVideoNodeList");
  if (count == 0) return;
  const std::string uri = list[0].uri;
  const typedefSarvikDeviceInfo* found = sdk->findDeviceByUri(uri.c_str());
  expect(found != nullptr && uri == found->uri, "findDeviceByUri");

  sarvik::Device* unknown = nullptr;
  expect(sdk->openDeviceByFd(0xffff, 0xffff, 0, "/nonexistent", &unknown) != 0 && unknown == nullptr,
         "openDeviceByFd of no such camera fails");
  sarvik::Device* device = nullptr;
  expectOk(sdk->openDevice(uri.c_str(), &device), "openDevice");
  if (device == nullptr) return;
  checkDeviceCommands(sdk, device);
  checkTask(sdk, device);
  checkStreams(sdk, device, scratch);
  checkImaging(sdk, device);
  expectOk(sdk->closeDevice(device), "closeDevice");
  expectOk(sdk->shutdown(), "shutdown");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s MODULE_DIR SCRATCH_DIR\n", argv[0]);
    return 2;
  }
  checkVtable();
  sarvik::ModuleLoader loader;
  std::string error;
  if (!loader.load("", &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  const std::string expected = std::string(argv[1]) + "/" SARVIK_MODULE_FILE;
  expect(loader.path() == expected, ("module loaded from " + loader.path() + ", not " + expected).c_str());
  SarvikBaseContext* sdk = loader.contextFactory()();
  expect(sdk != nullptr && loader.contextFactory()() == sdk, "ContextFactory gives the one context");
  if (sdk != nullptr) {
    checkSession(sdk, argv[2]);
    loader.deleteContext()(sdk);
  }
  if (g_failures == 0) std::printf("ABI check passed\n");
  return g_failures == 0 ? 0 : 1;
}
