#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platform/event_impl.h"
#include "platform/wait_until.h"

namespace sarvik {
namespace {

using sarvik_test::allowTimeToMisbehave;
using sarvik_test::waitUntil;

constexpr uint32_t kLongWaitMs = 10000;

TEST(Event, KeepsOneSignalUntilAWaitConsumesItOrResetClearsIt) {
  EventImpl event;
  EXPECT_EQ(event.wait(0), kEventTimeout) << "events start not signalled";

  EXPECT_EQ(event.set(), 0);
  EXPECT_EQ(event.wait(0), kEventSignaled);
  EXPECT_EQ(event.wait(0), kEventTimeout);

  // Events carry no count.
  event.set();
  event.set();
  EXPECT_EQ(event.wait(kLongWaitMs), kEventSignaled);
  EXPECT_EQ(event.wait(0), kEventTimeout);

  event.set();
  EXPECT_EQ(event.reset(), 0);
  EXPECT_EQ(event.wait(0), kEventTimeout);
  EXPECT_EQ(event.reset(), 0);  // resetting a clear event is no error
}

TEST(Event, TimedWaitLastsAtLeastAsAskedAndUnlimitedWaitWakesOnSet) {
  EventImpl event;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(event.wait(100), kEventTimeout);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));

  std::thread setter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    event.set();
  });
  EXPECT_EQ(event.wait(kEventInfinite), kEventSignaled);
  setter.join();
}

TEST(Event, OneSetReleasesExactlyOneOfSeveralWaitersAndLeavesTheEventClear) {
  EventImpl event;
  std::atomic<bool> quit(false);
  std::atomic<int> waiting(0);
  std::atomic<int> released(0);
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      ++waiting;
      while (!quit) {
        if (event.wait(50) == kEventSignaled) {
          ++released;
          return;
        }
      }
    });
  }
  ASSERT_TRUE(waitUntil([&] { return waiting == 3; }));
  allowTimeToMisbehave();  // let them all settle in wait()

  event.set();
  ASSERT_TRUE(waitUntil([&] { return released == 1; }));
  allowTimeToMisbehave();
  EXPECT_EQ(released, 1);
  EXPECT_EQ(event.wait(0), kEventTimeout) << "the released waiter must consume the signal";

  event.set();
  EXPECT_TRUE(waitUntil([&] { return released == 2; }));
  quit = true;
  for (std::thread& t : waiters) t.join();
  EXPECT_EQ(released, 2);
}

// Two threads hand a turn back and forth; a lost set() would stall one of
// them until its generous wait runs out.
TEST(Event, PingPongLosesNoSignal) {
  EventImpl ping;
  EventImpl pong;
  constexpr int kRounds = 2000;
  std::atomic<int> failures(0);
  std::thread partner([&] {
    for (int i = 0; i < kRounds; ++i) {
      if (ping.wait(kLongWaitMs) != kEventSignaled) ++failures;
      pong.set();
    }
  });
  for (int i = 0; i < kRounds; ++i) {
    ping.set();
    if (pong.wait(kLongWaitMs) != kEventSignaled) ++failures;
  }
  partner.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace sarvik
