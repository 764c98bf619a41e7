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
#include "logging/module_reporter.h"
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

// Sleeps in short slices like the module's workers; ends on call `lastCall`
// (0: never).
struct Probe {
  std::atomic<int> calls{0};
  std::atomic<bool> inside{false};
  int lastCall = 0;
  uint32_t sliceMs = 10;
  EventImpl wake;

  std::mutex mutex;
  std::set<uint32_t> threadIds;
  uint32_t threadId = 0;
  uint32_t handle = 0;
};

struct SelfProbe {
  ThreadWrapper* self = nullptr;
  std::atomic<bool> checked{false};
  int32_t stopResult = 0;
  int32_t priorityResult = 0;
  bool isCurrent = false;
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
  SelfProbe* probe = static_cast<SelfProbe*>(context);
  probe->isCurrent = probe->self->isCurrentThread();
  probe->priorityResult = probe->self->setPriority(0);
  probe->stopResult = probe->self->stop();
  probe->checked = true;
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

TEST_F(ThreadWrapperTest, StartAndStopAreRefusedOutOfTurnAndOneThreadRuns) {
  ThreadImpl none(nullptr, nullptr, "none", moduleReporter());
  EXPECT_EQ(none.start(), -4);
  EXPECT_EQ(none.stop(), -5);
  EXPECT_EQ(m_log.countContaining("Begin run thread"), 0u);

  Probe probe;
  ThreadImpl thread(&probeRun, &probe, "twice", moduleReporter());
  EXPECT_EQ(thread.stop(), -5);
  ASSERT_EQ(thread.start(), 0);
  EXPECT_EQ(thread.start(), -5);
  ASSERT_TRUE(waitUntil([&] { return probe.calls >= 3; }));
  EXPECT_EQ(thread.stop(), 0);
  EXPECT_EQ(thread.stop(), -5);
  std::lock_guard<std::mutex> guard(probe.mutex);
  EXPECT_EQ(probe.threadIds.size(), 1u);
}

TEST_F(ThreadWrapperTest, StopWaitsForTheCurrentCallAndNoCallFollows) {
  Probe brief;
  ThreadImpl stoppedAtOnce(&probeRun, &brief, "brief", moduleReporter());
  ASSERT_EQ(stoppedAtOnce.start(), 0);
  EXPECT_EQ(stoppedAtOnce.stop(), 0);
  EXPECT_GE(brief.calls, 1) << "the run function is called at least once";

  Probe probe;
  probe.sliceMs = 100;
  ThreadImpl thread(&probeRun, &probe, "slices", moduleReporter());
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitUntil([&] { return probe.inside.load(); }));
  EXPECT_EQ(thread.stop(), 0);
  EXPECT_FALSE(probe.inside);
  const int calls = probe.calls;
  allowTimeToMisbehave();
  EXPECT_EQ(probe.calls, calls);
}

TEST_F(ThreadWrapperTest, RunFunctionReturningFalseEndsTheThreadWhichMayStartAgain) {
  Probe probe;
  probe.lastCall = 1;
  ThreadImpl thread(&probeRun, &probe, "once", moduleReporter());
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitForRecords("Thread stop running", 1));
  EXPECT_EQ(probe.calls, 1);
  EXPECT_EQ(thread.stop(), -5);
  {
    std::lock_guard<std::mutex> guard(probe.mutex);
    EXPECT_EQ(m_log.count(1, format("Thread run function returns false, id=%d, thread_=%08x, name=%s",
                                    probe.threadId, probe.handle, "once")),
              1u);
  }

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

TEST_F(ThreadWrapperTest, StopOnItsOwnThreadIsRefusedWithoutWaiting) {
  SelfProbe probe;
  ThreadImpl thread(&turnOnOwnWrapper, &probe, "self", moduleReporter());
  probe.self = &thread;
  EXPECT_FALSE(thread.isCurrentThread());
  ASSERT_EQ(thread.start(), 0);
  ASSERT_TRUE(waitUntil([&] { return probe.checked.load(); }));
  EXPECT_TRUE(probe.isCurrent);
  EXPECT_EQ(probe.stopResult, -1);
  EXPECT_EQ(probe.priorityResult, 0);
  EXPECT_FALSE(thread.isCurrentThread());
}

// An ended thread's last log line still reads the wrapper, so the destructor
// must join it even though stop() has nothing to do.
TEST_F(ThreadWrapperTest, DestroyingAWrapperJoinsItsThreadWhetherRunningOrEnded) {
  for (int lastCall : {0, 1}) {
    SCOPED_TRACE(lastCall);
    m_log.reset();
    Probe probe;
    probe.sliceMs = 100;
    probe.lastCall = lastCall;
    ThreadImpl* thread = new ThreadImpl(&probeRun, &probe, "doomed", moduleReporter());
    ASSERT_EQ(thread->start(), 0);
    if (lastCall == 0) {
      ASSERT_TRUE(waitUntil([&] { return probe.inside.load(); }));
    }
    delete thread;
    EXPECT_FALSE(probe.inside);
    EXPECT_EQ(m_log.countContaining("Thread stop running"), 1u);
    if (lastCall == 0) {
      EXPECT_EQ(m_log.countContaining("Stop thread returns ok"), 1u);
    }
  }
}

TEST_F(ThreadWrapperTest, LogLinesNameTheThreadByKernelIdAndHandle) {
  Probe probe;
  ThreadImpl thread(&probeRun, &probe, "worker", moduleReporter());
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

  m_log.reset();
  ThreadImpl unnamed(&probeRun, &probe, nullptr, moduleReporter());
  ASSERT_EQ(unnamed.start(), 0);
  ASSERT_EQ(unnamed.stop(), 0);
  EXPECT_EQ(m_log.countContaining("name:SARVIK_THREAD]"), 3u);
}

TEST_F(ThreadWrapperTest, PriorityNeedsAThreadAndAValueThePlatformAccepts) {
  Probe probe;
  ThreadImpl thread(&probeRun, &probe, "prio", moduleReporter());
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

// Without a reporter the thread still works; its lines and codes go nowhere.
TEST_F(ThreadWrapperTest, WithoutAReporterNothingIsLoggedNorStored) {
  Probe probe;
  ThreadImpl thread(&probeRun, &probe, "silent", nullptr);
  *lastErrorCell() = 0;
  EXPECT_EQ(thread.setPriority(0), -5);
  ASSERT_EQ(thread.start(), 0);
  EXPECT_EQ(thread.setPriority(99), -1);
  ASSERT_EQ(thread.stop(), 0);
  EXPECT_EQ(*lastErrorCell(), 0u);
  EXPECT_EQ(m_log.countContaining("silent"), 0u);
  EXPECT_EQ(m_log.countContaining("priority"), 0u);
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
