// Device-state events flat out from both plug-ins' own threads while
// application threads open, command and close devices, and a shutdown in the
// middle of it all. Nothing may hang: driverDestroy joins the event thread,
// which can only work if no event is left waiting inside the context.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

using ContextStress = ContextTest;

constexpr int kAppThreads = 4;
constexpr uint64_t kEventsPerRound = 200;
constexpr int kCyclesPerRound = 20;

struct Shared {
  SarvikBaseContext* context = nullptr;
  std::atomic<uint64_t> heard{0};
};

// A client that searches the table on the plug-in's event thread while the
// other plug-in's event may be rebuilding it. It goes through the context
// only: the records behind the list pointer are rewritten by every event with
// no lock an application could take, so reading them here would race.
void onDeviceState(const char* deviceAddr, const char*, uint32_t, void* user) {
  auto* shared = static_cast<Shared*>(user);
  ++shared->heard;
  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  shared->context->getDeviceList(&list, &count);
  shared->context->findDeviceByUri(deviceAddr);
}

// Opens, commands and closes its own device until told to stop.
void workDevice(SarvikBaseContext* context, std::string uri, std::atomic<bool>* stop, std::atomic<int>* cycles) {
  int32_t value = 2;
  while (!stop->load()) {
    sarvik::Device* device = nullptr;
    if (context->openDevice(uri.c_str(), &device) == 0 && device != nullptr) {
      context->setDeviceProperty(device, 1, &value, sizeof(value));
      context->setStreamFlagMode(device, 2);
      context->closeDevice(device);
      ++*cycles;
    } else {
      std::this_thread::yield();
    }
  }
}

TEST_F(ContextStress, EventStormsWithOpenCloseAndAShutdownInTheMiddle) {
  load();
  const auto usbRecords = deviceRecords("usb://", kAppThreads / 2, SARVIK_CONNECTION_USB);
  const auto netRecords = deviceRecords("net://", kAppThreads / 2, SARVIK_CONNECTION_NET);
  uvc().setDevices(usbRecords);
  net().setDevices(netRecords);
  uvc().setCallLogEnabled(false);
  net().setCallLogEnabled(false);
  Shared shared;
  shared.context = ctx();

  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    ASSERT_EQ(0, ctx()->initialize());
    ASSERT_EQ(0, ctx()->registerDeviceStateCallback(onDeviceState, &shared));
    const uint64_t uvcBefore = uvc().eventsRaised();
    const uint64_t netBefore = net().eventsRaised();
    ASSERT_EQ(0, uvc().startEventStorm("usb://0", "SN0", "1-1", round % 2));
    ASSERT_EQ(0, net().startEventStorm("net://0", "SN1", "10.0.0.1", 1));

    std::atomic<bool> stop{false};
    std::atomic<int> cycles[kAppThreads];
    std::vector<std::thread> workers;
    for (int i = 0; i < kAppThreads; ++i) {
      cycles[i] = 0;
      const std::string uri = i % 2 == 0 ? usbRecords[i / 2].uri : netRecords[i / 2].uri;
      workers.emplace_back(workDevice, ctx(), uri, &stop, &cycles[i]);
    }
    const bool busy = waitUntil(
        [&] {
          for (const auto& count : cycles) {
            if (count.load() < kCyclesPerRound) return false;
          }
          return uvc().eventsRaised() - uvcBefore >= kEventsPerRound &&
                 net().eventsRaised() - netBefore >= kEventsPerRound;
        },
        60.0);
    EXPECT_TRUE(busy) << "events " << uvc().eventsRaised() - uvcBefore << "/" << net().eventsRaised() - netBefore;

    // Storms and workers are still running.
    EXPECT_EQ(0, ctx()->shutdown());
    EXPECT_TRUE(uvc().driverDestroyed());
    EXPECT_TRUE(net().driverDestroyed());
    const uint64_t raisedAtShutdown = uvc().eventsRaised() + net().eventsRaised();
    typedefSarvikDeviceInfo* list = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(-2, ctx()->getDeviceList(&list, &count));

    stop = true;
    for (std::thread& worker : workers) worker.join();
    EXPECT_EQ(raisedAtShutdown, uvc().eventsRaised() + net().eventsRaised())
        << "no event may run after driverDestroy";
    EXPECT_EQ(0, uvc().openDevices());
    EXPECT_EQ(0, net().openDevices());
  }
  EXPECT_GT(shared.heard.load(), 0u);
}

// An application thread that shuts down while a plug-in's event is inside a
// client callback, which itself calls back into the context.
TEST_F(ContextStress, ShutdownWhileEventsRunThroughClientCallbacks) {
  load();
  uvc().setDevices(deviceRecords("usb://", 2, SARVIK_CONNECTION_USB));
  uvc().setCallLogEnabled(false);
  net().setCallLogEnabled(false);
  Shared shared;
  shared.context = ctx();
  for (int round = 0; round < 20; ++round) {
    ASSERT_EQ(0, ctx()->initialize());
    ASSERT_EQ(0, ctx()->registerDeviceStateCallback(onDeviceState, &shared));
    const uint64_t heardBefore = shared.heard.load();
    ASSERT_EQ(0, uvc().startEventStorm("usb://1", "SN1", "1-2", 1));
    ASSERT_EQ(0, net().startEventStorm("net://1", "SN2", "1-3", 0));
    ASSERT_TRUE(waitUntil([&] { return shared.heard.load() > heardBefore + 5; }, 30.0));
    ASSERT_EQ(0, ctx()->shutdown());
  }
}

}  // namespace
}  // namespace sarvik_test
