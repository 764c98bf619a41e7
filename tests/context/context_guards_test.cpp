// The guards every operation opens with: before initialize, and with a device
// handle that has been closed.
#include <functional>
#include <string>
#include <vector>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

using Guards = ContextTest;

struct Row {
  const char* name;
  std::function<int32_t()> call;  // a null pointer result counts as -2 / -3 below
};

sarvik::Device* const kBogusDevice = reinterpret_cast<sarvik::Device*>(uintptr_t{0x40});
sarvik::VideoStream* const kBogusStream = reinterpret_cast<sarvik::VideoStream*>(uintptr_t{0x80});
sarvik::StreamRecorder* const kBogusRecorder = reinterpret_cast<sarvik::StreamRecorder*>(uintptr_t{0xC0});

void noStateCallback(const char*, const char*, uint32_t, void*) {}

TEST_F(Guards, EveryGuardedOperationRefusesBeforeInitialize) {
  load();
  SarvikBaseContext* c = ctx();
  sarvik::Device* device = nullptr;
  sarvik::VideoStream* stream = nullptr;
  sarvik::VideoStream* streams[1] = {kBogusStream};
  sarvik::StreamRecorder* recorder = nullptr;
  typedefSarvikDeviceInfo* list = nullptr;
  typedefSarvikVideoNodeInfo* nodes = nullptr;
  typedefSarvikFrame* frame = nullptr;
  uint32_t count = 0;
  uint32_t length = 4;
  uint8_t buffer[82] = {0};
  uint16_t depth[4] = {0};
  typedefSarvikPoint3D points[4];
  typedefSarvikFrameMode mode = {};
  const auto orMinus2 = [](const void* result) { return result == nullptr ? -2 : 0; };

  const std::vector<Row> rows = {
      {"registerDeviceStateCallback", [&] { return c->registerDeviceStateCallback(noStateCallback, nullptr); }},
      {"getDeviceList", [&] { return c->getDeviceList(&list, &count); }},
      {"getVideoNodeList", [&] { return c->getVideoNodeList(&nodes, &count); }},
      {"findDeviceByUri", [&] { return orMinus2(c->findDeviceByUri("usb://0")); }},
      {"openDevice", [&] { return c->openDevice("usb://0", &device); }},
      {"openDeviceByFd", [&] { return c->openDeviceByFd(0x2E5A, 0x5001, 3, "/dev/bus/usb/1", &device); }},
      {"closeDevice", [&] { return c->closeDevice(kBogusDevice); }},
      {"getFrameModeList", [&] { return c->getFrameModeList(kBogusDevice, 2, 0, 0); }},
      {"setFrameMode", [&] { return c->setFrameMode(kBogusDevice, 2, &mode); }},
      {"getCurrentFrameMode", [&] { return orMinus2(c->getCurrentFrameMode(kBogusDevice, 2)); }},
      {"openStream", [&] { return c->openStream(kBogusDevice, SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr); }},
      {"closeStream", [&] { return c->closeStream(kBogusStream); }},
      {"waitForStreams", [&] { return c->waitForStreams(streams, 1, &stream, 10); }},
      {"readFrame", [&] { return c->readFrame(kBogusStream, &frame, 10); }},
      {"releaseFrame", [&] { return c->releaseFrame(nullptr); }},
      {"setDeviceProperty", [&] { return c->setDeviceProperty(kBogusDevice, 9, buffer, 4); }},
      {"getDeviceProperty", [&] { return c->getDeviceProperty(kBogusDevice, 9, buffer, &length); }},
      {"sendDeviceCommand", [&] { return c->sendDeviceCommand(kBogusDevice, buffer, 4, 0, 0); }},
      {"setStreamFlagMode", [&] { return c->setStreamFlagMode(kBogusDevice, 2); }},
      {"createRecorder", [&] { return c->createRecorder("never.rec", &recorder); }},
      {"attachStreamToRecorder", [&] { return c->attachStreamToRecorder(kBogusRecorder, kBogusStream); }},
      {"startRecorder", [&] { return c->startRecorder(kBogusRecorder); }},
      {"stopRecorder", [&] { return c->stopRecorder(kBogusRecorder); }},
      {"destroyRecorder", [&] { return c->destroyRecorder(kBogusRecorder); }},
      {"queryDeviceData", [&] { return c->queryDeviceData(kBogusDevice, buffer); }},
      {"getDeviceProperty72", [&] { return c->getDeviceProperty72(kBogusDevice, buffer); }},
      {"saveBmpSnapshot", [&] { return c->saveBmpSnapshot("never.bmp"); }},
      {"deviceDepthToPointCloud",
       [&] { return c->deviceDepthToPointCloud(kBogusDevice, depth, 2, 2, 1, 1, 1, 1, 1, points, 0, false); }},
      {"setFrameCallback", [&] { return c->setFrameCallback(kBogusStream, nullptr, nullptr); }},
      {"shutdown", [&] { return c->shutdown(); }},
  };
  for (const Row& row : rows) {
    log().clear();
    clearLastError();
    EXPECT_EQ(-2, row.call()) << row.name;
    EXPECT_EQ(kErrNotInitialized, lastError()) << row.name;
    EXPECT_TRUE(logged(3, "not Initialized! ")) << row.name;
  }
  EXPECT_EQ(nullptr, device);
  EXPECT_EQ(nullptr, recorder);
  EXPECT_TRUE(uvc().calls().empty()) << "no plug-in is loaded before initialize";
  EXPECT_EQ(0, ctx()->initialize()) << "a refused shutdown must not block a later start";
}

TEST_F(Guards, OperationsWithoutAnInitialisedGuardAnswerBeforeInitialize) {
  load();
  clearLastError();
  // startDeviceTask checks the handle alone: the empty list makes it -3.
  EXPECT_EQ(-3, ctx()->startDeviceTask(kBogusDevice, 0, 0));
  EXPECT_EQ(kErrInvalidDevice, lastError());
  EXPECT_TRUE(logged(3, "Invalid Device!"));
  EXPECT_EQ(0, ctx()->deviceTaskControl(1, 2, 3, 4));
  EXPECT_EQ(0, ctx()->deviceTaskNotify(1, 2, 3, 4));
  EXPECT_EQ(-1, ctx()->setUvcDriverFlag(7));
  EXPECT_EQ(-1, ctx()->setUvcDriverText("abc"));
  EXPECT_EQ(0, ctx()->reservedVariadic(1, 2, 3));
}

TEST_F(Guards, EveryDeviceRowRefusesAClosedHandleWithoutCallingThePlugin) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  SarvikBaseContext* c = ctx();
  sarvik::Device* stale = open("usb://0");
  ASSERT_EQ(0, c->closeDevice(stale));
  uvc().clearCalls();

  sarvik::VideoStream* stream = nullptr;
  uint32_t length = 4;
  uint8_t buffer[82] = {0};
  uint16_t depth[4] = {0};
  typedefSarvikPoint3D points[4];
  typedefSarvikFrameMode mode = {};
  const auto orMinus3 = [](const void* result) { return result == nullptr ? -3 : 0; };
  const std::vector<Row> rows = {
      {"closeDevice", [&] { return c->closeDevice(stale); }},
      {"getFrameModeList", [&] { return c->getFrameModeList(stale, 2, 0, 0); }},
      {"setFrameMode", [&] { return c->setFrameMode(stale, 2, &mode); }},
      {"getCurrentFrameMode", [&] { return orMinus3(c->getCurrentFrameMode(stale, 2)); }},
      {"queryDeviceData", [&] { return c->queryDeviceData(stale, buffer); }},
      {"setDeviceProperty", [&] { return c->setDeviceProperty(stale, 9, buffer, 4); }},
      {"getDeviceProperty", [&] { return c->getDeviceProperty(stale, 9, buffer, &length); }},
      {"sendDeviceCommand", [&] { return c->sendDeviceCommand(stale, buffer, 4, 0, 0); }},
      {"setStreamFlagMode", [&] { return c->setStreamFlagMode(stale, 2); }},
      // The range of the mode is looked at only after the handle.
      {"setStreamFlagMode out of range", [&] { return c->setStreamFlagMode(stale, 9); }},
      {"getDeviceProperty72", [&] { return c->getDeviceProperty72(stale, buffer); }},
      {"deviceDepthToPointCloud",
       [&] { return c->deviceDepthToPointCloud(stale, depth, 2, 2, 1, 1, 1, 1, 1, points, 0, false); }},
      {"openStream", [&] { return c->openStream(stale, SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr); }},
      {"startDeviceTask", [&] { return c->startDeviceTask(stale, 0, 0); }},
  };
  for (const Row& row : rows) {
    log().clear();
    clearLastError();
    EXPECT_EQ(-3, row.call()) << row.name;
    EXPECT_EQ(kErrInvalidDevice, lastError()) << row.name;
    EXPECT_TRUE(logged(3, "Invalid Device!")) << row.name;
  }
  EXPECT_EQ(nullptr, stream);
  EXPECT_TRUE(uvc().calls().empty()) << uvc().calls().front();
}

}  // namespace
}  // namespace sarvik_test
