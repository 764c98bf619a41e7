// Device commands reach the plug-in's device object unchanged, with the few
// constants the module adds itself, and its status comes back unchanged.
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

class DeviceCommands : public ContextTest {
 protected:
  void SetUp() override {
    start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
    m_device = open("usb://0");
    uvc().clearCalls();
  }

  sarvik::Device* m_device = nullptr;
};

struct Forwarding {
  const char* name;
  FakeOp op;
  std::function<int32_t()> call;
  std::string expectedCall;
};

TEST_F(DeviceCommands, EachRowForwardsItsArgumentsAndReturnsThePluginStatus) {
  SarvikBaseContext* c = ctx();
  int32_t value = 0x01020304;
  uint8_t request[3] = {1, 2, 3};
  uint8_t buffer[16] = {0};
  uint32_t length = 6;
  uint16_t depth[8] = {0};
  typedefSarvikPoint3D points[8];
  typedefSarvikFrameMode mode = {};
  const std::vector<Forwarding> rows = {
      {"getFrameModeList", FakeOp::kGetFrameModeList, [&] { return c->getFrameModeList(m_device, 2, 11, 12); },
       "getFrameModeList(2,11,12)"},
      {"setFrameMode", FakeOp::kSetFrameMode, [&] { return c->setFrameMode(m_device, 2, &mode); },
       "setFrameMode(2,restart=0)"},
      {"queryDeviceData", FakeOp::kQueryData, [&] { return c->queryDeviceData(m_device, buffer); }, "queryData"},
      {"setDeviceProperty", FakeOp::kSetProperty, [&] { return c->setDeviceProperty(m_device, 9, &value, 4); },
       "setProperty(9,len=4,value=16909060)"},
      {"getDeviceProperty", FakeOp::kGetProperty, [&] { return c->getDeviceProperty(m_device, 9, buffer, &length); },
       "getProperty(9,len=6)"},
      {"sendDeviceCommand", FakeOp::kSendCommand,
       [&] { return c->sendDeviceCommand(m_device, request, 3, 21, 22); }, "sendCommand(len=3,21,22)"},
      {"deviceDepthToPointCloud", FakeOp::kDepthToPointCloud,
       [&] { return c->deviceDepthToPointCloud(m_device, depth, 4, 2, 1, 2, 3, 4, 5, points, 0, true); },
       "depthToPointCloud(w=4,h=2)"},
  };
  for (const Forwarding& row : rows) {
    uvc().clearCalls();
    EXPECT_EQ(0, row.call()) << row.name;
    uvc().setResult(row.op, -40);
    EXPECT_EQ(-40, row.call()) << row.name << ": the plug-in's status passes through";
    uvc().setResult(row.op, 0);
    EXPECT_EQ((std::vector<std::string>{row.expectedCall, row.expectedCall}), uvc().calls()) << row.name;
  }
}

TEST_F(DeviceCommands, AReadPropertyLandsInTheCallersBuffer) {
  uint8_t buffer[6] = {0};
  uint32_t length = sizeof(buffer);
  ASSERT_EQ(0, ctx()->getDeviceProperty(m_device, 9, buffer, &length));
  EXPECT_EQ(9, buffer[0]);
  EXPECT_EQ(14, buffer[5]);
}

TEST_F(DeviceCommands, Property72AsksForTheWholeBlock) {
  uint8_t buffer[82] = {0};
  ASSERT_EQ(0, ctx()->getDeviceProperty72(m_device, buffer));
  EXPECT_EQ((std::vector<std::string>{"getProperty(72,len=82)"}), uvc().calls());
  EXPECT_EQ(static_cast<uint8_t>(72 + 81), buffer[81]);
  uvc().setResult(FakeOp::kGetProperty, -6);
  EXPECT_EQ(-6, ctx()->getDeviceProperty72(m_device, buffer));
}

TEST_F(DeviceCommands, TheCurrentFrameModeIsThePluginsOwnRecord) {
  const typedefSarvikFrameMode* current = ctx()->getCurrentFrameMode(m_device, SARVIK_STREAM_DEPTH);
  ASSERT_NE(nullptr, current);
  EXPECT_EQ(SARVIK_STREAM_DEPTH, static_cast<uint32_t>(current->modeValue2));
  typedefSarvikFrameMode mode = {};
  mode.modeValue1 = 1280;
  mode.modeValue2 = 5;
  ASSERT_EQ(0, ctx()->setFrameMode(m_device, SARVIK_STREAM_DEPTH, &mode));
  EXPECT_EQ(current, ctx()->getCurrentFrameMode(m_device, SARVIK_STREAM_DEPTH));
  EXPECT_EQ(1280, int{current->modeValue1});
  uvc().setCurrentFrameModeNull(true);
  EXPECT_EQ(nullptr, ctx()->getCurrentFrameMode(m_device, SARVIK_STREAM_DEPTH));
}

TEST_F(DeviceCommands, StreamFlagModeChecksItsRangeBeforeTheOpenCheckAndQuietly) {
  for (int32_t mode : {0, 5, -1}) {
    log().clear();
    ctx()->setLastError(0x1234);
    EXPECT_EQ(-1, ctx()->setStreamFlagMode(m_device, mode)) << mode;
    EXPECT_EQ(0x1234u, lastError()) << mode;
    EXPECT_EQ(0u, log().countContaining("Set Stream Flag Mode")) << mode;
  }
  EXPECT_TRUE(uvc().calls().empty());

  ASSERT_EQ(0, ctx()->setStreamFlagMode(m_device, 4));
  EXPECT_TRUE(logged(4, "Set Stream Flag Mode = 4"));
  EXPECT_EQ((std::vector<std::string>{"setProperty(75,len=4,value=4)"}), uvc().calls());
  uvc().setResult(FakeOp::kSetProperty, -17);
  EXPECT_EQ(-17, ctx()->setStreamFlagMode(m_device, 1));
}

// closeDevice gives the device object back to the plug-in while the handle is
// still listed. Commands in that window pass the handle check and must find
// no device object: they answer as for a device not open, without a call.
TEST_F(DeviceCommands, CommandsOnADeviceBeingClosedAnswerAsNotOpen) {
  uvc().pauseAt(FakeOp::kCloseDevice);
  std::atomic<int32_t> closed{-100};
  std::thread closer([&] { closed = ctx()->closeDevice(m_device); });
  ASSERT_TRUE(waitUntil([&] { return uvc().paused(); }));
  uvc().clearCalls();
  log().clear();

  uint8_t buffer[82] = {0};
  uint32_t length = 4;
  uint16_t depth[4] = {0};
  typedefSarvikPoint3D points[4];
  typedefSarvikFrameMode mode = {};
  struct Row {
    const char* name;
    std::function<int32_t()> call;
  };
  const std::vector<Row> rows = {
      {"getFrameModeList", [&] { return ctx()->getFrameModeList(m_device, 2, 0, 0); }},
      {"setFrameMode", [&] { return ctx()->setFrameMode(m_device, 2, &mode); }},
      {"getCurrentFrameMode",
       [&] { return ctx()->getCurrentFrameMode(m_device, 2) == nullptr ? -3 : 0; }},
      {"queryDeviceData", [&] { return ctx()->queryDeviceData(m_device, buffer); }},
      {"setDeviceProperty", [&] { return ctx()->setDeviceProperty(m_device, 9, buffer, 4); }},
      {"getDeviceProperty", [&] { return ctx()->getDeviceProperty(m_device, 9, buffer, &length); }},
      {"sendDeviceCommand", [&] { return ctx()->sendDeviceCommand(m_device, buffer, 4, 0, 0); }},
      {"getDeviceProperty72", [&] { return ctx()->getDeviceProperty72(m_device, buffer); }},
      {"setStreamFlagMode", [&] { return ctx()->setStreamFlagMode(m_device, 4); }},
  };
  for (const Row& row : rows) {
    clearLastError();
    EXPECT_EQ(-3, row.call()) << row.name;
    EXPECT_EQ(kErrInvalidDevice, lastError()) << row.name;
  }
  EXPECT_FALSE(logged(3, "Invalid Device!")) << "the handle itself is still valid";
  // The device's own conversion succeeds without a device object.
  EXPECT_EQ(0, ctx()->deviceDepthToPointCloud(m_device, depth, 2, 2, 1, 1, 1, 1, 1, points, 0, false));
  // A second close and a new task are refused outright.
  clearLastError();
  EXPECT_EQ(-3, ctx()->closeDevice(m_device));
  EXPECT_EQ(kErrInvalidDevice, lastError());
  EXPECT_EQ(-3, ctx()->startDeviceTask(m_device, 0, 0));
  EXPECT_TRUE(logged(3, "Invalid Device!"));
  const auto calls = uvc().calls();

  uvc().resume();
  closer.join();
  EXPECT_EQ(0, closed.load());
  EXPECT_TRUE(calls.empty()) << calls.front();
}

}  // namespace
}  // namespace sarvik_test
