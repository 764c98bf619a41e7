// Device tasks and the two settings that go to the UVC plug-in as a whole.
#include <string>
#include <vector>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

class DeviceTasks : public ContextTest {
 protected:
  void startTwoDevices() {
    start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
    m_a = open("usb://0");
    m_b = open("usb://1");
    uvc().clearCalls();
  }

  sarvik::Device* m_a = nullptr;
  sarvik::Device* m_b = nullptr;
};

TEST_F(DeviceTasks, ATaskIsMadeOnceAndStartedOnEveryCall) {
  startTwoDevices();
  ASSERT_EQ(0, ctx()->startDeviceTask(m_a, 1, 2));
  uvc().setResult(FakeOp::kTaskStart, 9);
  EXPECT_EQ(9, ctx()->startDeviceTask(m_a, 3, 4)) << "the task's status passes through";
  const std::vector<std::string> expected = {"createTask",   "setTaskMode(1)", "task.start(usb://0,1,2)",
                                             "setTaskMode(1)", "task.start(usb://0,3,4)"};
  EXPECT_EQ(expected, uvc().calls());
  EXPECT_EQ(1, uvc().liveTasks());
  // A failed start leaves the task active.
  EXPECT_EQ(0, ctx()->deviceTaskControl(5, 6, 7, 8));
  EXPECT_TRUE(has(uvc().calls(), "task.control(usb://0,5,6,7,8)"));
}

TEST_F(DeviceTasks, TheLatestStartMakesItsTaskTheActiveOne) {
  startTwoDevices();
  ASSERT_EQ(0, ctx()->startDeviceTask(m_a, 0, 0));
  ASSERT_EQ(0, ctx()->startDeviceTask(m_b, 0, 0));
  ctx()->deviceTaskControl(1, 1, 1, 1);
  ASSERT_EQ(0, ctx()->startDeviceTask(m_a, 0, 0));
  ctx()->deviceTaskControl(2, 2, 2, 2);
  const auto calls = uvc().calls();
  EXPECT_TRUE(has(calls, "task.control(usb://1,1,1,1,1)"));
  EXPECT_TRUE(has(calls, "task.control(usb://0,2,2,2,2)"));
  EXPECT_EQ(2u, countOf(calls, "createTask"));
}

TEST_F(DeviceTasks, ClosingTheActiveTasksDeviceLeavesNoActiveTask) {
  startTwoDevices();
  ASSERT_EQ(0, ctx()->startDeviceTask(m_a, 0, 0));
  ASSERT_EQ(0, ctx()->closeDevice(m_a));
  const auto calls = uvc().calls();
  EXPECT_LT(indexOf(calls, "closeDevice(usb://0)"), indexOf(calls, "~task(usb://0)"));
  EXPECT_EQ(0, uvc().liveTasks());
  uvc().clearCalls();
  EXPECT_EQ(0, ctx()->deviceTaskControl(1, 2, 3, 4));
  EXPECT_EQ(0, ctx()->deviceTaskNotify(1, 2, 3, 4));
  EXPECT_TRUE(uvc().calls().empty());
}

TEST_F(DeviceTasks, ClosingAnotherTasksDeviceKeepsTheActiveTask) {
  startTwoDevices();
  ASSERT_EQ(0, ctx()->startDeviceTask(m_a, 0, 0));
  ASSERT_EQ(0, ctx()->startDeviceTask(m_b, 0, 0));
  ASSERT_EQ(0, ctx()->closeDevice(m_a));
  EXPECT_TRUE(has(uvc().calls(), "~task(usb://0)"));
  EXPECT_EQ(0, ctx()->deviceTaskControl(1, 2, 3, 4));
  EXPECT_TRUE(has(uvc().calls(), "task.control(usb://1,1,2,3,4)"));
}

TEST_F(DeviceTasks, APluginWithoutATaskLeavesNothingEntered) {
  startTwoDevices();
  ASSERT_EQ(0, ctx()->startDeviceTask(m_b, 0, 0));
  uvc().setCreateTaskNull(true);
  uvc().clearCalls();
  log().clear();
  EXPECT_EQ(-1, ctx()->startDeviceTask(m_a, 0, 0));
  EXPECT_EQ(-1, ctx()->startDeviceTask(m_a, 0, 0));
  EXPECT_EQ(2u, countOf(uvc().calls(), "createTask")) << "a null task must not be entered";
  EXPECT_FALSE(has(uvc().calls(), "setTaskMode(1)"));
  EXPECT_EQ(0u, log().recordCount()) << "nothing is logged for it";
  ctx()->deviceTaskControl(1, 2, 3, 4);
  EXPECT_TRUE(has(uvc().calls(), "task.control(usb://1,1,2,3,4)")) << "the active task stays";
}

TEST_F(DeviceTasks, WithoutAUvcPluginATaskStartsWithoutTheTaskMode) {
  load({PluginKind::kNone, PluginKind::kFake});
  net().setDevices(deviceRecords("net://", 1, SARVIK_CONNECTION_NET));
  ASSERT_EQ(0, ctx()->initialize());
  sarvik::Device* device = open("net://0");
  net().setResult(FakeOp::kTaskStart, 3);
  EXPECT_EQ(3, ctx()->startDeviceTask(device, 7, 8));
  const auto calls = net().calls();
  EXPECT_TRUE(has(calls, "task.start(net://0,7,8)"));
  EXPECT_FALSE(has(calls, "setTaskMode(1)")) << "the task mode is the UVC plug-in's alone";
  ASSERT_EQ(0, net().raiseEvent("net://0", "SN", "x", 0));
  EXPECT_EQ(1u, loggedCount(1, "get device list"));
}

TEST_F(DeviceTasks, TheTaskModeGoesToTheUvcPluginWhicheverPluginServesTheDevice) {
  start({}, deviceRecords("net://", 1, SARVIK_CONNECTION_NET));
  sarvik::Device* device = open("net://0");
  uvc().clearCalls();
  ASSERT_EQ(0, ctx()->startDeviceTask(device, 0, 0));
  EXPECT_EQ((std::vector<std::string>{"setTaskMode(1)"}), uvc().calls());
  EXPECT_FALSE(has(net().calls(), "setTaskMode(1)"));
}

TEST_F(DeviceTasks, UvcSettingsReachTheUvcPluginOnly) {
  startTwoDevices();
  EXPECT_EQ(0, ctx()->setUvcDriverFlag(7));
  EXPECT_EQ(0, ctx()->setUvcDriverFlag(255));
  EXPECT_EQ(0, ctx()->setUvcDriverText("abc"));
  EXPECT_EQ((std::vector<std::string>{"setFlag(7)", "setFlag(255)", "setText(abc)"}), uvc().calls());
  EXPECT_EQ(0u, countStartingWith(net().calls(), "setFlag(") + countStartingWith(net().calls(), "setText("));
}

TEST_F(DeviceTasks, UvcSettingsWithoutAUvcPluginAreRefusedQuietly) {
  load({PluginKind::kNone, PluginKind::kFake});
  ASSERT_EQ(0, ctx()->initialize());
  log().clear();
  EXPECT_EQ(-1, ctx()->setUvcDriverFlag(7));
  EXPECT_EQ(-1, ctx()->setUvcDriverText(std::string(100, 'x')));
  EXPECT_EQ(0u, log().recordCount());
  EXPECT_EQ(0u, countStartingWith(net().calls(), "setFlag(") + countStartingWith(net().calls(), "setText("));
  // Looking for the UVC plug-in must not have entered an empty one: every
  // walk over the plug-ins, like this event's rebuild, calls each entry.
  ASSERT_EQ(0, net().raiseEvent("net://0", "SN", "x", 0));
  EXPECT_TRUE(logged(1, "get device list"));
  EXPECT_EQ(1u, loggedCount(1, "get device list"));
}

}  // namespace
}  // namespace sarvik_test
