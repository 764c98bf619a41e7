// ThreadWrapper over a POSIX thread.
#ifndef SARVIK_PLATFORM_THREAD_IMPL_H
#define SARVIK_PLATFORM_THREAD_IMPL_H

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/critical_section_wrapper.h"
#include "platform/event_wrapper.h"
#include "platform/platform_report.h"
#include "platform/thread_wrapper.h"

namespace sarvik {

// Each thread reserves a 1 MiB stack. The thread confirms its start through
// m_startEvent once it has set m_running, so start() returns only when the loop
// really runs. The name appears in log lines only; the platform doesn't get it.
class ThreadImpl : public ThreadWrapper {
 public:
  // Starts nothing. fn may be null (start() then gives -4); a null name gives
  // "SARVIK_THREAD". context is not owned. The thread's log lines and
  // setPriority()'s last-error codes go to `reporter` (not owned; null drops
  // them), which must outlive this object.
  ThreadImpl(ThreadRunFunction fn, void* context, const char* name, PlatformReporter* reporter);
  ~ThreadImpl() override;

  ThreadImpl(const ThreadImpl&) = delete;
  ThreadImpl& operator=(const ThreadImpl&) = delete;

  int32_t start() override;
  int32_t stop() override;
  int32_t setPriority(int32_t priority) override;
  bool isCurrentThread() const override;

 private:
  static void* threadEntry(void* self);
  void run();
  bool enterLoop();
  void reapEndedThread();

  PlatformReporter* const m_reporter;
  ThreadRunFunction m_runFunction;
  void* m_runContext;
  bool m_running;              // guarded by m_stateLock
  bool m_cancelStart;          // guarded by m_stateLock; keeps a late thread out of its loop
  EventWrapper* m_startEvent;  // owned
  CriticalSectionWrapper* m_stateLock;  // owned

  // Written and read only by the threads that call start(), stop(), setPriority()
  // and the destructor, never by the worker itself.
  pthread_t m_thread;
  bool m_hasThread;  // a thread was created and not yet replaced
  bool m_joined;     // that thread has been joined

  std::atomic<uint32_t> m_threadId;  // kernel id, stored by the worker before it confirms
  const std::string m_name;
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_THREAD_IMPL_H
