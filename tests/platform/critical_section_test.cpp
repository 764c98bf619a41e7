#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "platform/critical_section_impl.h"
#include "platform/wait_until.h"

namespace sarvik {
namespace {

using sarvik_test::allowTimeToMisbehave;
using sarvik_test::waitUntil;

TEST(CriticalSection, OwnerReentersFreelyAndOthersWaitForTheLastUnlock) {
  CriticalSectionImpl lock;
  lock.lock();
  lock.lock();  // would deadlock if the lock weren't re-entrant

  std::atomic<bool> aboutToLock(false);
  std::atomic<bool> acquired(false);
  std::thread other([&] {
    aboutToLock = true;
    lock.lock();
    acquired = true;
    lock.unlock();
  });
  ASSERT_TRUE(waitUntil([&] { return aboutToLock.load(); }));
  allowTimeToMisbehave();
  EXPECT_FALSE(acquired);

  lock.unlock();
  allowTimeToMisbehave();
  EXPECT_FALSE(acquired) << "one unlock of two released the lock";

  lock.unlock();
  EXPECT_TRUE(waitUntil([&] { return acquired.load(); }));
  other.join();
}

// Counts nesting so that a test can see what a guard did.
class CountingLock : public CriticalSectionWrapper {
 public:
  void lock() override { ++depth; }
  void unlock() override { --depth; }
  int depth = 0;
};

TEST(ScopedLock, HoldsForItsScopeAndReleasesWhenAnExceptionUnwinds) {
  CountingLock lock;
  {
    ScopedLock guard(&lock);
    EXPECT_EQ(lock.depth, 1);
  }
  EXPECT_EQ(lock.depth, 0);

  EXPECT_THROW(
      {
        ScopedLock outer(&lock);
        ScopedLock inner(&lock);
        throw std::runtime_error("unwind");
      },
      std::runtime_error);
  EXPECT_EQ(lock.depth, 0);
}

}  // namespace
}  // namespace sarvik
