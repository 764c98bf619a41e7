// Every plug-in call fails in turn (an error status, a null object, a record
// no plug-in should write): each path gives the status the module states for
// it, and, run under ASan's leak check, leaves nothing behind.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

constexpr int32_t kPluginError = -7;

class PluginFailure : public ContextTest {
 protected:
  sarvik::Device* startAndOpen() {
    if (ctx()->initialize() != 0) return nullptr;
    return open("usb://0");
  }
};

struct FailingCall {
  FakeOp op;
  const char* name;
  std::function<int32_t(SarvikBaseContext*, sarvik::Device*)> call;
};

TEST_F(PluginFailure, AnErrorStatusOfEachDeviceCallReachesTheApplication) {
  uint8_t block[128] = {};
  uint32_t length = 4;
  uint16_t depth[8] = {};
  typedefSarvikPoint3D points[8];
  typedefSarvikFrameMode mode;
  std::memset(&mode, 0, sizeof(mode));
  const FailingCall calls[] = {
      {FakeOp::kSetProperty, "setProperty",
       [&](SarvikBaseContext* c, sarvik::Device* d) { return c->setDeviceProperty(d, 1, block, 4); }},
      {FakeOp::kGetProperty, "getProperty",
       [&](SarvikBaseContext* c, sarvik::Device* d) { return c->getDeviceProperty(d, 1, block, &length); }},
      {FakeOp::kSendCommand, "sendCommand",
       [&](SarvikBaseContext* c, sarvik::Device* d) { return c->sendDeviceCommand(d, block, 4, 1, 2); }},
      {FakeOp::kGetFrameModeList, "getFrameModeList",
       [&](SarvikBaseContext* c, sarvik::Device* d) { return c->getFrameModeList(d, SARVIK_STREAM_DEPTH, 0, 0); }},
      {FakeOp::kSetFrameMode, "setFrameMode",
       [&](SarvikBaseContext* c, sarvik::Device* d) { return c->setFrameMode(d, SARVIK_STREAM_DEPTH, &mode); }},
      {FakeOp::kQueryData, "queryData",
       [&](SarvikBaseContext* c, sarvik::Device* d) { return c->queryDeviceData(d, block); }},
      {FakeOp::kDepthToPointCloud, "depthToPointCloud",
       [&](SarvikBaseContext* c, sarvik::Device* d) {
         return c->deviceDepthToPointCloud(d, depth, 4, 2, 1, 500, 500, 2, 1, points, 0, false);
       }},
      {FakeOp::kTaskStart, "task start",
       [&](SarvikBaseContext* c, sarvik::Device* d) { return c->startDeviceTask(d, 1, 2); }},
      {FakeOp::kStreamStart, "stream start",
       [&](SarvikBaseContext* c, sarvik::Device* d) {
         sarvik::VideoStream* stream = nullptr;
         return c->openStream(d, SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr);
       }},
  };
  load();
  uvc().setDevices({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB)});
  for (const FailingCall& row : calls) {
    SCOPED_TRACE(row.name);
    sarvik::Device* device = startAndOpen();
    ASSERT_NE(nullptr, device);
    uvc().setResult(row.op, kPluginError);
    EXPECT_EQ(kPluginError, row.call(ctx(), device));
    uvc().setResult(row.op, 0);
    EXPECT_EQ(0, row.call(ctx(), device)) << "the same call succeeds once the plug-in does";
    EXPECT_EQ(0, ctx()->shutdown());
    EXPECT_EQ(0, uvc().openDevices());
    EXPECT_EQ(0, uvc().liveTasks());
  }
}

TEST_F(PluginFailure, FailingStartUpAndOpenCallsLeaveTheContextClean) {
  load();
  uvc().setDevices({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB)});
  uvc().setResult(FakeOp::kInitialize, kPluginError);
  EXPECT_EQ(kPluginError, ctx()->initialize());
  uvc().setResult(FakeOp::kInitialize, 0);
  uvc().setResult(FakeOp::kGetDeviceList, kPluginError);
  EXPECT_EQ(-1, ctx()->initialize());
  uvc().setResult(FakeOp::kGetDeviceList, 0);

  ASSERT_EQ(0, ctx()->initialize());
  uvc().setResult(FakeOp::kOpenDevice, kPluginError);
  sarvik::Device* device = nullptr;
  EXPECT_EQ(kPluginError, ctx()->openDevice("usb://0", &device));
  EXPECT_EQ(nullptr, device);
  uvc().setResult(FakeOp::kOpenDevice, 0);
  uvc().setResult(FakeOp::kOpenDeviceByFd, kPluginError);
  EXPECT_EQ(kPluginError, ctx()->openDeviceByFd(0x2E5A, 0x5001, 3, "/dev/bus/usb/001/002", &device));
  EXPECT_EQ(0, ctx()->shutdown());
  EXPECT_EQ(0, uvc().openDevices());
}

TEST_F(PluginFailure, NullObjectsFromThePluginAreRefusedWithTheirStatus) {
  load();
  uvc().setDevices({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB)});
  sarvik::Device* device = startAndOpen();
  ASSERT_NE(nullptr, device);
  sarvik::VideoStream* stream = nullptr;

  uvc().setCreateStreamNull(true);
  EXPECT_EQ(-8, ctx()->openStream(device, SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr));
  uvc().setCreateStreamNull(false);

  uvc().setCreateTaskNull(true);
  EXPECT_EQ(-1, ctx()->startDeviceTask(device, 1, 2));
  uvc().setCreateTaskNull(false);

  uvc().setCurrentFrameModeNull(true);
  EXPECT_EQ(nullptr, ctx()->getCurrentFrameMode(device, SARVIK_STREAM_DEPTH));
  ASSERT_EQ(0, ctx()->openStream(device, SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr));
  sarvik::StreamRecorder* recorder = nullptr;
  ASSERT_EQ(0, ctx()->createRecorder((folder() + "/null-mode.rec").c_str(), &recorder));
  EXPECT_EQ(-1, ctx()->attachStreamToRecorder(recorder, stream));
  uvc().setCurrentFrameModeNull(false);
  EXPECT_EQ(0, ctx()->shutdown());
  EXPECT_EQ(0, uvc().openDevices());
}

// Records no plug-in should write: more than the room, and texts without
// their terminating NUL. Searches stay within the table and its records.
TEST_F(PluginFailure, GarbageDeviceRecordsStayWithinTheTable) {
  load();
  typedefSarvikDeviceInfo garbage;
  std::memset(&garbage, 'A', sizeof(garbage));
  garbage.ConnectionType = SARVIK_CONNECTION_USB;
  uvc().setDevices(std::vector<typedefSarvikDeviceInfo>(70, garbage));
  uvc().setReportedCount(1000);
  net().setDevices({makeDeviceRecord("net://0", SARVIK_CONNECTION_NET)});
  ASSERT_EQ(0, ctx()->initialize());
  EXPECT_EQ(60u, deviceCount());
  EXPECT_EQ(nullptr, ctx()->findDeviceByUri("net://0")) << "no room was left for the second plug-in";
  const std::string allA(sizeof(garbage.uri), 'A');
  sarvik::Device* device = nullptr;
  EXPECT_EQ(-4, ctx()->openDevice((allA + "A").c_str(), &device));
  EXPECT_EQ(0, ctx()->shutdown());
}

}  // namespace
}  // namespace sarvik_test
