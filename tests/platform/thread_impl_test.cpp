#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "platform/event_impl.h"
#include "platform/thread_id.h"
#include "platform/thread_impl.h"
#include "platform/wait_until.h"
#include "support/memory_log.h"

namespace sarvik {
namespace {

using sarvik_test::allowTimeToMisbehave;
using sarvik_test::LogRecord;
using sarvik_test::MemoryLog;
using sarvik_test::waitUntil;

// What a run function saw. It sleeps in short slices on `wake`, the way the
// module's workers do, and ends its thread on call number `lastCall`.
struct Probe {
  std::atomic<int> calls{0};
  std::atomic<bool> inside{false};
  int lastCall = 0;  // 0: never return false
  uint32_t sliceMs = 10;
  EventImpl wake;

  std::mutex mutex;
  std::set<uint32_t> threadIds;
  uint32_t threadId = 0;
  uint32_t handle = 0;

  ThreadWrapper* self = nullptr;  // for run functions that turn on their own wrapper
  std::atomic<bool> ownThreadChecked{false};
  int32_t ownStopResult = 0;
  int32_t ownPriorityResult = 0;
  bool ownIsCurrent = false;
};

bool probeRun(void* context) {
  Probe* probe = static_cast<Probe*>(context);
  probe->inside = true;
  {
    std::lock_guard<std::mutex> guard(probe->mutex);
    probe->threadId = currentThreadId();
    probe->handle = static_cast<uint32_t>(pthread_self());
    probe->threadIds.insert(probe->threadId);
  }
  const int call = ++probe->calls;
  const bool again = probe->lastCall == 0 || call < probe->lastCall;
  if (again) probe->wake.wait(probe->sliceMs);
  probe->inside = false;
  return again;
}

bool turnOnOwnWrapper(void* context) {
  Probe* probe = static_cast<Probe*>(context);
  probe->ownIsCurrent = probe->self->isCurrentThread();
  probe->ownPriorityResult = probe->self->setPriority(0);
  probe->ownStopResult = probe->self->stop();
  probe->ownThreadChecked = true;
  return false;
}

class ThreadWrapperTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_log.loaded()) << SARVIK_MEMORY_LOG_PATH;
    m_log.reset();
    ASSERT_EQ(bindLogDriverFrom(SARVIK_MEMORY_LOG_PATH), 0);
    *lastErrorCell() = 0;
  }
  void TearDown() override {
    unbindLogDriver();
    m_log.reset();
  }

  bool waitForRecords(const std::string& part, size_t count) {
    return waitUntil([&] { return m_log.countContaining(part) >= count; });
  }

  MemoryLog m_log;
};

std::string format(const char* fmt, uint32_t a, uint32_t b, const char* name) {
  char text[256];
  std::snprintf(text, sizeof text, fmt, a, b, name);
  return text;
}

TEST_F(ThreadWrapperTest, NothingStartsWithoutRunFunctionAndStopWithoutStartWaitsForNothing) {
  ThreadImpl none(nullptr, nullptr, "none");
  EXPECT_EQ(none.start(), -4);
  EXPECT_EQ(none.stop(), -5);
  EXPECT_EQ(m_log.countContaining("Begin run thread"), 0u);

  Probe probe;
  ThreadImpl idle(&probeRun, &probe, "idle");
  EXPECT_EQ(idle.stop(), -5);
  EXPECT_EQ(probe.calls, 0);
}

TEST_F(ThreadWrapperTest, RunFunctionIsCalledAtLeastOnceEvenWhenStoppedAtOnce) {
  Probe probe;
  ThreadImpl thread(&probeRun, &probe, "brief");
  ASSERT_EQ(thread.start(), 0);
  EXPECT_EQ(thread.stop(), 0);
  EXPECT_GE(probe.calls, 1);
}

TEST_F(ThreadWrapperTest, StartingTwiceIsRefusedAndOneThreadRuns) {
  Probe probe;
  ThreadImpl thread(&probeRun, &probe, "twice");
  ASSERT_EQ(thread.start(), 0);
  EXPECT_EQ(thread.start(), -5);
  ASSERT_TRUE(waitUntil([&] { return probe.calls >= 3; }));
  EXPECT_EQ(thread.stop(), 0);
  EXPECT_EQ(thread.stop(), -5);
  std::lock_guard<std::mutex> guard(probe.mutex);
  EXPECT_EQ(probe.threadIds.size(), 1u);
}

TEST_F(ThreadWrapperTest, StopWaitsForTheCurrentCallAndNoCallFollows) {
  Probe probe;
  probe.sliceMs = 100;
  ThreadImpl thread(&probeRun, &probe, "slices");
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitUntil([&] { return probe.inside.load(); }));
  EXPECT_EQ(thread.stop(), 0);
  EXPECT_FALSE(probe.inside);
  const int calls = probe.calls;
  allowTimeToMisbehave();
  EXPECT_EQ(probe.calls, calls);
}

TEST_F(ThreadWrapperTest, RunFunctionReturningFalseEndsTheThreadAfterOneCall) {
  Probe probe;
  probe.lastCall = 1;
  ThreadImpl thread(&probeRun, &probe, "once");
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitForRecords("Thread stop running", 1));
  EXPECT_EQ(probe.calls, 1);
  EXPECT_EQ(thread.stop(), -5);
  std::lock_guard<std::mutex> guard(probe.mutex);
  EXPECT_EQ(m_log.count(1, format("Thread run function returns false, id=%d, thread_=%08x, name=%s",
                                  probe.threadId, probe.handle, "once")),
            1u);
}

TEST_F(ThreadWrapperTest, StopOnItsOwnThreadIsRefusedWithoutWaiting) {
  Probe probe;
  ThreadImpl thread(&turnOnOwnWrapper, &probe, "self");
  probe.self = &thread;
  EXPECT_FALSE(thread.isCurrentThread());
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitUntil([&] { return probe.ownThreadChecked.load(); }));
  EXPECT_TRUE(probe.ownIsCurrent);
  EXPECT_EQ(probe.ownStopResult, -1);
  EXPECT_EQ(probe.ownPriorityResult, 0);
  EXPECT_FALSE(thread.isCurrentThread());
}

TEST_F(ThreadWrapperTest, DestroyingARunningWrapperStopsAndJoinsItsThread) {
  Probe probe;
  probe.sliceMs = 100;
  ThreadImpl* thread = new ThreadImpl(&probeRun, &probe, "doomed");
  ASSERT_EQ(thread->start(), 0);
  ASSERT_TRUE(waitUntil([&] { return probe.inside.load(); }));
  delete thread;
  EXPECT_FALSE(probe.inside);
  EXPECT_EQ(m_log.countContaining("Stop thread returns ok"), 1u);
  EXPECT_EQ(m_log.countContaining("Thread stop running"), 1u);
}

// The thread's last log line reads the wrapper; the destructor must wait for
// it even though stop() has nothing to do.
TEST_F(ThreadWrapperTest, DestroyingAWrapperWhoseThreadEndedItselfWaitsForTheThread) {
  Probe probe;
  probe.lastCall = 1;
  ThreadImpl* thread = new ThreadImpl(&probeRun, &probe, "ended");
  ASSERT_EQ(thread->start(), 0);
  delete thread;
  EXPECT_EQ(m_log.countContaining("Thread stop running"), 1u);
}

TEST_F(ThreadWrapperTest, AnEndedWrapperStartsAgainWithANewThread) {
  Probe probe;
  probe.lastCall = 1;
  ThreadImpl thread(&probeRun, &probe, "again");
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitForRecords("Thread stop running", 1));
  probe.lastCall = 2;
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitForRecords("Thread stop running", 2));
  EXPECT_EQ(probe.calls, 2);

  probe.lastCall = 0;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(thread.start(), 0);
    EXPECT_EQ(thread.stop(), 0);
  }
  EXPECT_EQ(m_log.countContaining("Begin run thread"), 5u);
}

TEST_F(ThreadWrapperTest, LogLinesNameTheThreadByKernelIdAndHandle) {
  Probe probe;
  ThreadImpl thread(&probeRun, &probe, "worker");
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitUntil([&] { return probe.calls >= 1; }));
  ASSERT_EQ(thread.stop(), 0);

  const uint32_t id = probe.threadId;
  const uint32_t handle = probe.handle;
  EXPECT_NE(id, static_cast<uint32_t>(getpid())) << "the worker's own id, not the process's";
  const std::vector<std::string> expected = {
      format("Begin run thread[id:%d, thread_:%08x, name:%s]", id, handle, "worker"),
      format("start thread succeed, thread_ = %08x, id_ = %u", handle, id, ""),
      format("Begin stop thread[id_:%d, thread_:%08x, name:%s]", id, handle, "worker"),
      format("Thread stop running[id_:%d, thread_:%08x, name:%s]", id, handle, "worker"),
      format("Stop thread returns ok, id_=%d, thread_=%08x, name=%s", id, handle, "worker"),
  };
  std::vector<std::string> texts;
  for (const LogRecord& record : m_log.records()) {
    EXPECT_EQ(record.level, 1) << record.text;
    texts.push_back(record.text);
  }
  EXPECT_EQ(texts, expected);
}

TEST_F(ThreadWrapperTest, AThreadWithoutNameIsLoggedUnderTheDefaultName) {
  Probe probe;
  ThreadImpl thread(&probeRun, &probe, nullptr);
  ASSERT_EQ(thread.start(), 0);
  ASSERT_EQ(thread.stop(), 0);
  EXPECT_EQ(m_log.countContaining("name:SARVIK_THREAD]"), 3u);
}

TEST_F(ThreadWrapperTest, PriorityNeedsAThreadAndAValueThePlatformAccepts) {
  Probe probe;
  ThreadImpl thread(&probeRun, &probe, "prio");
  EXPECT_EQ(thread.setPriority(0), -5);
  EXPECT_EQ(*lastErrorCell(), kErrThreadNotCreated);
  EXPECT_TRUE(m_log.contains(3, "thread  created failed"));

  ASSERT_EQ(thread.start(), 0);
  *lastErrorCell() = 0;
  EXPECT_EQ(thread.setPriority(0), 0);
  EXPECT_EQ(*lastErrorCell(), 0u);
  // The default policy knows only priority 0.
  EXPECT_EQ(thread.setPriority(99), -1);
  EXPECT_EQ(*lastErrorCell(), kErrThreadPriority);
  EXPECT_TRUE(m_log.contains(3, "Unable to Set thread's priority! "));

  ASSERT_EQ(thread.stop(), 0);
  *lastErrorCell() = 0;
  EXPECT_EQ(thread.setPriority(0), -1) << "the thread is gone";
  EXPECT_EQ(*lastErrorCell(), kErrThreadPriority);
}

TEST(ThreadId, IsTheKernelIdOfTheCallingThread) {
  // gtest runs tests on the main thread, whose kernel id is the process id.
  EXPECT_EQ(currentThreadId(), static_cast<uint32_t>(getpid()));
  uint32_t other = 0;
  std::thread([&] { other = currentThreadId(); }).join();
  EXPECT_NE(other, 0u);
  EXPECT_NE(other, currentThreadId());
}

}  // namespace
}  // namespace sarvik
