#include "platform/thread_impl.h"

#include <sched.h>

#include <type_traits>

#include "platform/critical_section_impl.h"
#include "platform/event_impl.h"
#include "platform/thread_id.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {

namespace {

constexpr size_t kStackSize = 0x100000;
constexpr uint32_t kStartTimeoutMs = 2000;

// The wrapper whose loop runs on the calling thread. Kept by the worker
// itself, so isCurrentThread() needs no field that the creator writes while the
// worker may already be running, and an id the kernel reuses later can't match.
thread_local const ThreadImpl* t_currentWrapper = nullptr;

static_assert(std::is_integral<pthread_t>::value, "log lines print pthread_t as a number");

uint32_t low32(pthread_t handle) { return static_cast<uint32_t>(handle); }

}  // namespace

ThreadImpl::ThreadImpl(ThreadRunFunction fn, void* context, const char* name, PlatformReporter* reporter)
    : m_reporter(reporter),
      m_runFunction(fn),
      m_runContext(context),
      m_running(false),
      m_cancelStart(false),
      m_startEvent(new EventImpl()),
      m_stateLock(new CriticalSectionImpl()),
      m_thread(),
      m_hasThread(false),
      m_joined(false),
      m_threadId(0),
      m_name(name != nullptr ? name : "SARVIK_THREAD") {}

// Joins also a thread that ended by itself (stop() then gives -5 and doesn't
// wait), so that its last log line never reads a freed object.
ThreadImpl::~ThreadImpl() {
  if (m_hasThread) {
    // A thread whose start was never confirmed may not have entered its loop
    // yet; it must not enter it now, or the join below would never return.
    m_stateLock->lock();
    m_cancelStart = true;
    m_stateLock->unlock();
    stop();
    if (!m_joined) pthread_join(m_thread, nullptr);
  }
  delete m_stateLock;
  delete m_startEvent;
}

int32_t ThreadImpl::start() {
  if (m_runFunction == nullptr) return -4;
  m_stateLock->lock();
  const bool running = m_running;
  // Read and set in one step: an earlier thread whose start was never
  // confirmed must not enter its loop now, or reaping it would wait forever.
  if (!running) m_cancelStart = true;
  m_stateLock->unlock();
  if (running) return -5;
  reapEndedThread();

  m_startEvent->reset();  // a late confirmation of an earlier start must not answer this one
  // Thread stacks are mapped and committed page by page on first touch, so the
  // 1 MiB is a reservation, not memory spent up front.
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, kStackSize);
  pthread_t thread;
  const int rc = pthread_create(&thread, &attr, &ThreadImpl::threadEntry, this);
  pthread_attr_destroy(&attr);
  if (rc != 0) return -1;
  m_thread = thread;
  m_hasThread = true;
  m_joined = false;

  // On a time-out the thread is not cancelled: it may still start, and stop()
  // or the destructor end it as usual.
  if (m_startEvent->wait(kStartTimeoutMs) != kEventSignaled) return -11;
  reportLog(m_reporter, kLogTrace, "start thread succeed, thread_ = %08x, id_ = %u", low32(m_thread),
             m_threadId.load());
  return 0;
}

// REQUIRES: m_running is false and m_cancelStart set. Releases the previous
// thread, if any, before start() replaces it.
void ThreadImpl::reapEndedThread() {
  if (m_hasThread && !m_joined) pthread_join(m_thread, nullptr);
  m_hasThread = false;
  m_stateLock->lock();
  m_cancelStart = false;
  m_stateLock->unlock();
}

int32_t ThreadImpl::stop() {
  if (isCurrentThread()) return -1;
  m_stateLock->lock();
  if (!m_running) {
    m_stateLock->unlock();
    return -5;
  }
  m_running = false;
  m_stateLock->unlock();

  const uint32_t id = m_threadId.load();
  reportLog(m_reporter, kLogTrace, "Begin stop thread[id_:%d, thread_:%08x, name:%s]", id, low32(m_thread),
             m_name.c_str());
  if (pthread_join(m_thread, nullptr) != 0) {
    reportLog(m_reporter, kLogTrace, "Stop thread returns failure, id_=%d, thread_=%08x, name=%s", id,
               low32(m_thread), m_name.c_str());
    return -1;
  }
  m_joined = true;
  reportLog(m_reporter, kLogTrace, "Stop thread returns ok, id_=%d, thread_=%08x, name=%s", id,
             low32(m_thread), m_name.c_str());
  return 0;
}

// The value is a sched_priority of the thread's current policy; the default
// policy, SCHED_OTHER, accepts only 0. Nice values were not used: they address
// a kernel id, which may already belong to another thread once ours has ended.
int32_t ThreadImpl::setPriority(int32_t priority) {
  pthread_t target;
  if (isCurrentThread()) {
    target = pthread_self();  // m_thread may not be stored yet
  } else if (!m_hasThread) {
    reportFailure(m_reporter, kErrThreadNotCreated, kLogError, "thread  created failed");
    return -5;
  } else {
    target = m_thread;
  }
  // A joined thread's handle is gone: the platform can't be asked any more.
  bool applied = false;
  if (isCurrentThread() || !m_joined) {
    int policy = 0;
    struct sched_param param;
    if (pthread_getschedparam(target, &policy, &param) == 0) {
      param.sched_priority = priority;
      applied = pthread_setschedparam(target, policy, &param) == 0;
    }
  }
  if (!applied) {
    reportFailure(m_reporter, kErrThreadPriority, kLogError, "Unable to Set thread's priority! ");
    return -1;
  }
  return 0;
}

bool ThreadImpl::isCurrentThread() const { return t_currentWrapper == this; }

void* ThreadImpl::threadEntry(void* self) {
  static_cast<ThreadImpl*>(self)->run();
  return nullptr;
}

// Sets m_running and confirms the start. False when the thread is to end
// without calling the run function.
bool ThreadImpl::enterLoop() {
  m_stateLock->lock();
  const bool cancelled = m_cancelStart;
  if (!cancelled) m_running = true;
  m_stateLock->unlock();
  if (cancelled) return false;
  if (m_startEvent->set() != 0) {
    // m_running stays true, so that stop() still finds and joins this thread.
    reportLog(m_reporter, kLogError, "start event set error [%s]", m_name.c_str());
    return false;
  }
  return true;
}

void ThreadImpl::run() {
  t_currentWrapper = this;
  const uint32_t id = currentThreadId();
  const uint32_t handle = low32(pthread_self());
  m_threadId.store(id);
  reportLog(m_reporter, kLogTrace, "Begin run thread[id:%d, thread_:%08x, name:%s]", id, handle,
             m_name.c_str());
  if (!enterLoop()) return;

  bool running = true;
  while (running) {
    const bool again = m_runFunction(m_runContext);  // no lock held: stop() must not wait for it
    m_stateLock->lock();
    if (!again) {
      reportLog(m_reporter, kLogTrace, "Thread run function returns false, id=%d, thread_=%08x, name=%s", id,
                 handle, m_name.c_str());
      m_running = false;
    }
    running = m_running;
    m_stateLock->unlock();
  }
  reportLog(m_reporter, kLogTrace, "Thread stop running[id_:%d, thread_:%08x, name:%s]", id, handle,
             m_name.c_str());
}

}  // namespace sarvik
