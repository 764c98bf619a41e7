// Device-state events from a plug-in's own thread: task claims, the advice in
// the log, the rebuilt table and the client's callbacks.
#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

struct Heard {
  std::string callback;
  std::string deviceAddr, sn;
  bool addrNull, snNull;
  uint32_t deviceState;
  void* user;
};

std::mutex g_heardLock;
std::vector<Heard> g_heard;

void keep(const char* name, const char* deviceAddr, const char* sn, uint32_t deviceState, void* user) {
  std::lock_guard<std::mutex> guard(g_heardLock);
  g_heard.push_back(Heard{name, deviceAddr ? deviceAddr : "", sn ? sn : "", deviceAddr == nullptr, sn == nullptr,
                          deviceState, user});
}
void first(const char* deviceAddr, const char* sn, uint32_t deviceState, void* user) {
  keep("first", deviceAddr, sn, deviceState, user);
}
void second(const char* deviceAddr, const char* sn, uint32_t deviceState, void* user) {
  keep("second", deviceAddr, sn, deviceState, user);
}

std::vector<Heard> heard() {
  std::lock_guard<std::mutex> guard(g_heardLock);
  return g_heard;
}

class DeviceEvents : public ContextTest {
 protected:
  void SetUp() override {
    std::lock_guard<std::mutex> guard(g_heardLock);
    g_heard.clear();
  }
};

const char* const kUsbAdvice1 =
    "If the device is not actively unplugged, please check the power supply capability of the hub or the "
    "connection of the USB data cable.";
const char* const kUsbAdvice2 = "It is recommended to replace the hub with power supply and try again.";
const char* const kNetAdvice = "If the device is not actively unplugged, please check the network connection.";

TEST_F(DeviceEvents, AnUnclaimedEventLogsRebuildsAndTellsNobody) {
  start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB), deviceRecords("net://", 1, SARVIK_CONNECTION_NET));
  uvc().setDevices(deviceRecords("usb://", 3, SARVIK_CONNECTION_USB));
  uvc().clearCalls();
  net().clearCalls();
  log().clear();

  ASSERT_EQ(0, uvc().raiseEvent("usb://2", "SN2", "1-2", 0));
  const std::vector<std::pair<int32_t, std::string>> expected = {
      {1, ""},
      {4, "onDeviceState Change deviceAddr = usb://2 , SN = SN2, location = 1-2, deviceState = 0"},
      {1, "get device list"},
      {1, "get device list"},
      {4, "register device state callback  size is 0"},
  };
  const auto records = log().records();
  ASSERT_EQ(expected.size(), records.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(expected[i].first, records[i].level) << i;
    EXPECT_EQ(expected[i].second, records[i].text) << i;
  }
  EXPECT_EQ((std::vector<std::string>{"getDeviceList(room=60)"}), uvc().calls());
  EXPECT_EQ((std::vector<std::string>{"getDeviceList(room=57)"}), net().calls());
  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(0, ctx()->getDeviceList(&list, &count));
  ASSERT_EQ(4u, count);
  EXPECT_STREQ("usb://2", list[2].uri);
  EXPECT_STREQ("net://0", list[3].uri) << "the table is rebuilt in plug-in order";
}

TEST_F(DeviceEvents, AGoneDeviceBringsAdviceByItsKindOfAddress) {
  start({});
  struct Case {
    const char* deviceAddr;
    uint32_t deviceState;
    std::vector<std::string> advice;
  };
  const std::vector<Case> cases = {
      {"usb://1-2", 1, {kUsbAdvice1, kUsbAdvice2}},
      {"net://10.0.0.2", 1, {kNetAdvice}},
      {"USB://1-2", 1, {kNetAdvice}},  // only the lower-case marker counts
      {nullptr, 1, {kNetAdvice}},
      {"usb://1-2", 0, {}},
      {"usb://1-2", 2, {}},
  };
  for (const Case& c : cases) {
    log().clear();
    ASSERT_EQ(0, net().raiseEvent(c.deviceAddr, "SN", "loc", c.deviceState));
    std::vector<std::string> advice;
    for (const LogRecord& record : log().records()) {
      if (record.text.find("please check") != std::string::npos || record.text == kUsbAdvice2) {
        EXPECT_EQ(4, record.level);
        advice.push_back(record.text);
      }
    }
    EXPECT_EQ(c.advice, advice) << (c.deviceAddr ? c.deviceAddr : "(null)") << " state " << c.deviceState;
    EXPECT_EQ(2u, loggedCount(1, "get device list")) << "the table is rebuilt whatever the state";
  }
}

TEST_F(DeviceEvents, NullTextsPrintAsNullAndReachTheClientAsNull) {
  start({});
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(first, nullptr));
  ASSERT_EQ(0, uvc().raiseEvent(nullptr, nullptr, nullptr, 3));
  EXPECT_TRUE(logged(4, "onDeviceState Change deviceAddr = (null) , SN = (null), location = (null), deviceState = 3"));
  const auto calls = heard();
  ASSERT_EQ(1u, calls.size());
  EXPECT_TRUE(calls[0].addrNull);
  EXPECT_TRUE(calls[0].snNull);
}

TEST_F(DeviceEvents, EachFunctionHearsOnceWithItsFirstUserPointer) {
  start({});
  int one = 0, two = 0, three = 0;
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(first, &one));
  log().clear();
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(first, &two));
  EXPECT_TRUE(logged(1, "already registed\n"));
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(second, &three));
  clearLastError();
  EXPECT_EQ(-4, ctx()->registerDeviceStateCallback(nullptr, &three));
  EXPECT_EQ(kErrBadArgument, lastError());

  ASSERT_EQ(0, net().raiseEvent("net://5", "SN5", "site", 1));
  EXPECT_TRUE(logged(4, "register device state callback  size is 2"));
  const auto calls = heard();
  ASSERT_EQ(2u, calls.size());
  EXPECT_EQ("first", calls[0].callback);
  EXPECT_EQ(&one, calls[0].user);
  EXPECT_EQ("second", calls[1].callback);
  EXPECT_EQ(&three, calls[1].user);
  EXPECT_EQ("net://5", calls[1].deviceAddr);
  EXPECT_EQ("SN5", calls[1].sn);
  EXPECT_EQ(1u, calls[1].deviceState);
}

// A client callback that works the context from the plug-in's event thread.
struct Reentry {
  SarvikBaseContext* context;
  uint32_t countSeen = 0;
  int32_t openStatus = -100, closeStatus = -100;
};

void reenter(const char* deviceAddr, const char*, uint32_t, void* user) {
  auto* state = static_cast<Reentry*>(user);
  typedefSarvikDeviceInfo* list = nullptr;
  state->context->getDeviceList(&list, &state->countSeen);
  sarvik::Device* device = nullptr;
  state->openStatus = state->context->openDevice(deviceAddr, &device);
  if (device != nullptr) state->closeStatus = state->context->closeDevice(device);
}

TEST_F(DeviceEvents, AClientCallbackMayUseTheContextAndSeesTheNewTable) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  Reentry state{ctx()};
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(reenter, &state));
  uvc().setDevices(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
  ASSERT_EQ(0, uvc().raiseEvent("usb://1", "SN1", "1-1", 0));
  EXPECT_EQ(2u, state.countSeen);
  EXPECT_EQ(0, state.openStatus);
  EXPECT_EQ(0, state.closeStatus);
  const auto calls = uvc().calls();
  EXPECT_LT(indexOf(calls, "openDevice(usb://1)"), indexOf(calls, "closeDevice(usb://1)"));
}

TEST_F(DeviceEvents, RebuildsKeepTheTableWithinItsRoom) {
  start(deviceRecords("usb://", 40, SARVIK_CONNECTION_USB), deviceRecords("net://", 40, SARVIK_CONNECTION_NET));
  net().setReportedCount(40);
  net().clearCalls();
  ASSERT_EQ(0, net().raiseEvent("net://1", "SN", "x", 0));
  EXPECT_TRUE(has(net().calls(), "getDeviceList(room=20)"));
  EXPECT_EQ(60u, deviceCount());
}

TEST_F(DeviceEvents, AFailingPluginIsLeftOutOfTheRebuiltTable) {
  start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB), deviceRecords("net://", 3, SARVIK_CONNECTION_NET));
  uvc().setResult(FakeOp::kGetDeviceList, -1);
  ASSERT_EQ(0, net().raiseEvent("net://0", "SN", "x", 0));
  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(0, ctx()->getDeviceList(&list, &count));
  ASSERT_EQ(3u, count);
  EXPECT_STREQ("net://0", list[0].uri);
}

TEST_F(DeviceEvents, AnEventDuringShutdownChangesNothingAndReachesNoClient) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB), deviceRecords("net://", 1, SARVIK_CONNECTION_NET));
  open("usb://0");
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(first, nullptr));
  // Shutdown holds the context lock while it closes the device.
  uvc().pauseAt(FakeOp::kCloseDevice);
  std::atomic<int32_t> status{-100};
  std::thread stopper([&] { status = ctx()->shutdown(); });
  ASSERT_TRUE(waitUntil([&] { return uvc().paused(); }));
  net().clearCalls();
  log().clear();
  const uint64_t before = net().eventsRaised();
  ASSERT_EQ(0, net().raiseEventAsync("net://0", "SN", "x", 1));
  const bool returned = waitUntil([&] { return net().eventsRaised() > before; });
  uvc().resume();
  stopper.join();
  EXPECT_TRUE(returned) << "the event queued behind the shutdown";
  EXPECT_EQ(0, status.load());
  EXPECT_TRUE(heard().empty());
  EXPECT_EQ(0u, countStartingWith(net().calls(), "getDeviceList("));
  EXPECT_EQ(0u, log().countContaining("onDeviceState Change"));
}

// The event is past its first look at the shutdown flag and waits for the
// context lock, which a device command holds, when shutdown begins. It must
// go no further once it gets the lock, and the plug-in's driverDestroy, which
// joins the event thread, must not hang.
TEST_F(DeviceEvents, AnEventWaitingForTheLockWhenShutdownBeginsGoesNoFurther) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB), deviceRecords("net://", 1, SARVIK_CONNECTION_NET));
  sarvik::Device* device = open("usb://0");
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(first, nullptr));
  uvc().pauseAt(FakeOp::kSetProperty);
  std::thread command([&] {
    int32_t value = 1;
    ctx()->setDeviceProperty(device, 1, &value, sizeof(value));
  });
  ASSERT_TRUE(waitUntil([&] { return uvc().paused(); }));

  const size_t marks = loggedCount(1, "");
  ASSERT_EQ(0, net().raiseEventAsync("net://0", "SN", "x", 1));
  ASSERT_TRUE(waitUntil([&] { return loggedCount(1, "") > marks; })) << "the event never entered";

  std::atomic<int32_t> status{-100};
  std::thread stopper([&] { status = ctx()->shutdown(); });
  // Once shutdown has begun, an operation of another thread is refused.
  sarvik::Device* none = nullptr;
  ASSERT_TRUE(waitUntil([&] { return ctx()->openDevice("nowhere", &none) == -2; }));
  uvc().resume();
  command.join();
  stopper.join();
  EXPECT_EQ(0, status.load());
  EXPECT_TRUE(net().driverDestroyed());
  EXPECT_TRUE(heard().empty());
  EXPECT_EQ(0u, log().countContaining("onDeviceState Change"));
}

// --- Tasks on the event path ---

class TaskEvents : public DeviceEvents {
 protected:
  // Two open devices with a task each.
  void startWithTasks() {
    start(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
    m_a = open("usb://0");
    m_b = open("usb://1");
    ASSERT_EQ(0, ctx()->startDeviceTask(m_a, 0, 0));
    ASSERT_EQ(0, ctx()->startDeviceTask(m_b, 0, 0));
    ASSERT_EQ(0, ctx()->registerDeviceStateCallback(first, nullptr));
    uvc().clearCalls();
    log().clear();
  }

  // The tasks' device ids in the order of their Device handles.
  std::vector<std::string> pointerOrder() const {
    return m_a < m_b ? std::vector<std::string>{"usb://0", "usb://1"} : std::vector<std::string>{"usb://1", "usb://0"};
  }

  sarvik::Device* m_a = nullptr;
  sarvik::Device* m_b = nullptr;
};

TEST_F(TaskEvents, AHoldingTaskAtTheEventsLocationEndsTheEvent) {
  startWithTasks();
  uvc().setTaskLocation("usb://0", "1-4");
  uvc().setTaskHolding("usb://0", true);
  uvc().setDevices({});
  ASSERT_EQ(0, uvc().raiseEvent("usb://0", "SN0", "1-4", 1));

  const auto calls = uvc().calls();
  EXPECT_TRUE(has(calls, "task.onDeviceState(usb://0,usb://0,SN0,1-4,1)"));
  EXPECT_LT(indexOf(calls, "task.onDeviceState(usb://0,usb://0,SN0,1-4,1)"), indexOf(calls, "task.isHolding(usb://0)"));
  EXPECT_FALSE(has(calls, "task.onDeviceState(usb://1,usb://0,SN0,1-4,1)"));
  EXPECT_EQ(0u, countStartingWith(calls, "getDeviceList("));
  EXPECT_EQ(2u, deviceCount()) << "the table keeps describing the state before the event";
  EXPECT_TRUE(heard().empty());
  EXPECT_TRUE(logged(4,
                     "onDeviceState Change deviceAddr = usb://0 , SN = SN0, location = 1-4, deviceLocation : 1-4, "
                     "deviceState = 1"));
  EXPECT_FALSE(logged(4, "onDeviceState Change deviceAddr = usb://0 , SN = SN0, location = 1-4, deviceState = 1"));
  EXPECT_EQ(0u, log().countContaining("please check"));
}

TEST_F(TaskEvents, ATaskThatDoesNotHoldIsToldAndTheEventGoesOn) {
  startWithTasks();
  uvc().setTaskLocation("usb://0", "1-4");
  uvc().setDevices({});
  ASSERT_EQ(0, uvc().raiseEvent("usb://0", "SN0", "1-4", 1));
  const auto calls = uvc().calls();
  const long told = indexOf(calls, "task.onDeviceState(usb://0,usb://0,SN0,1-4,1)");
  ASSERT_GE(told, 0);
  EXPECT_LT(told, indexOf(calls, "getDeviceList(room=60)"));
  EXPECT_FALSE(has(calls, "task.onDeviceState(usb://1,usb://0,SN0,1-4,1)")) << "its location differs";
  EXPECT_EQ(0u, deviceCount());
  EXPECT_EQ(1u, heard().size());
  EXPECT_TRUE(logged(4, "onDeviceState Change deviceAddr = usb://0 , SN = SN0, location = 1-4, deviceState = 1"));
}

TEST_F(TaskEvents, TheMarkerLocationReachesEveryTaskInPointerOrderUntilOneHolds) {
  startWithTasks();
  ASSERT_EQ(0, uvc().raiseEvent("usb://0", "SN0", "rack-NVTEVM-3", 0));
  auto calls = uvc().calls();
  const std::vector<std::string> order = pointerOrder();
  const long firstTold = indexOf(calls, "task.onDeviceState(" + order[0] + ",usb://0,SN0,rack-NVTEVM-3,0)");
  const long secondTold = indexOf(calls, "task.onDeviceState(" + order[1] + ",usb://0,SN0,rack-NVTEVM-3,0)");
  ASSERT_GE(firstTold, 0);
  EXPECT_LT(firstTold, secondTold);
  EXPECT_EQ(1u, heard().size());

  uvc().clearCalls();
  uvc().setTaskHolding(order[0], true);
  ASSERT_EQ(0, uvc().raiseEvent("usb://0", "SN0", "rack-NVTEVM-3", 0));
  calls = uvc().calls();
  EXPECT_TRUE(has(calls, "task.onDeviceState(" + order[0] + ",usb://0,SN0,rack-NVTEVM-3,0)"));
  EXPECT_FALSE(has(calls, "task.onDeviceState(" + order[1] + ",usb://0,SN0,rack-NVTEVM-3,0)"));
  EXPECT_EQ(1u, heard().size());
}

TEST_F(TaskEvents, ATaskWithTheMarkerInItsLocationHearsEveryEvent) {
  startWithTasks();
  uvc().setTaskLocation("usb://1", "NVTEVM");
  ASSERT_EQ(0, uvc().raiseEvent("usb://7", "SN7", "2-1", 0));
  const auto calls = uvc().calls();
  EXPECT_TRUE(has(calls, "task.onDeviceState(usb://1,usb://7,SN7,2-1,0)"));
  EXPECT_FALSE(has(calls, "task.onDeviceState(usb://0,usb://7,SN7,2-1,0)"));
}

TEST_F(TaskEvents, NoTaskIsEnteredForADeviceWhosePluginGivesNone) {
  start(deviceRecords("usb://", 1, SARVIK_CONNECTION_USB));
  sarvik::Device* device = open("usb://0");
  uvc().setCreateTaskNull(true);
  EXPECT_EQ(-1, ctx()->startDeviceTask(device, 0, 0));
  uvc().clearCalls();
  ASSERT_EQ(0, uvc().raiseEvent("usb://0", "SN0", "", 0));
  EXPECT_EQ(0u, countStartingWith(uvc().calls(), "task."));
  EXPECT_TRUE(has(uvc().calls(), "getDeviceList(room=60)"));
}

}  // namespace
}  // namespace sarvik_test
