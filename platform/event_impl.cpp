#include "platform/event_impl.h"

#include <cerrno>
#include <ctime>

namespace sarvik {

namespace {

// Absolute CLOCK_MONOTONIC time ms milliseconds from now: a change of the wall
// clock must neither shorten nor stretch a time-out.
struct timespec deadlineAfter(uint32_t ms) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  t.tv_sec += static_cast<time_t>(ms / 1000u);
  t.tv_nsec += static_cast<long>(ms % 1000u) * 1000000L;
  if (t.tv_nsec >= 1000000000L) {
    t.tv_sec += 1;
    t.tv_nsec -= 1000000000L;
  }
  return t;
}

}  // namespace

EventImpl::EventImpl() : m_signalled(false), m_mutexReady(false), m_condReady(false) {
  m_mutexReady = pthread_mutex_init(&m_mutex, nullptr) == 0;
  pthread_condattr_t attr;
  if (pthread_condattr_init(&attr) == 0) {
    if (pthread_condattr_setclock(&attr, CLOCK_MONOTONIC) == 0)
      m_condReady = pthread_cond_init(&m_cond, &attr) == 0;
    pthread_condattr_destroy(&attr);
  }
}

EventImpl::~EventImpl() {
  if (m_condReady) pthread_cond_destroy(&m_cond);
  if (m_mutexReady) pthread_mutex_destroy(&m_mutex);
}

int32_t EventImpl::reset() {
  if (!m_mutexReady || !m_condReady) return kEventError;
  if (pthread_mutex_lock(&m_mutex) != 0) return kEventError;
  m_signalled = false;
  pthread_mutex_unlock(&m_mutex);
  return 0;
}

int32_t EventImpl::set() {
  if (!m_mutexReady || !m_condReady) return kEventError;
  if (pthread_mutex_lock(&m_mutex) != 0) return kEventError;
  m_signalled = true;
  pthread_mutex_unlock(&m_mutex);
  // One waiter is enough: the first to wake consumes the flag, any other
  // would only find it cleared and sleep again. Signalled after the unlock so
  // that the woken waiter does not at once block on the mutex still held here;
  // the owner never destroys an event while another thread may set it.
  int rc = pthread_cond_signal(&m_cond);
  return rc == 0 ? 0 : kEventError;
}

int32_t EventImpl::wait(uint32_t ms) {
  if (!m_mutexReady || !m_condReady) return kEventError;
  struct timespec deadline = {0, 0};
  if (ms != kEventInfinite && ms != 0) deadline = deadlineAfter(ms);
  if (pthread_mutex_lock(&m_mutex) != 0) return kEventError;
  int32_t result;
  if (ms == 0)
    result = m_signalled ? kEventSignaled : kEventTimeout;
  else
    result = waitUntilSignalled(ms == kEventInfinite ? nullptr : &deadline);
  if (result == kEventSignaled) m_signalled = false;
  pthread_mutex_unlock(&m_mutex);
  return result;
}

// REQUIRES: m_mutex held. A null deadline waits without limit. The flag is
// looked at after every wake-up, so a spurious one never counts as a set(), and
// a set() that lands together with the time-out still wins.
int32_t EventImpl::waitUntilSignalled(const struct timespec* deadline) {
  while (!m_signalled) {
    int rc = deadline == nullptr ? pthread_cond_wait(&m_cond, &m_mutex)
                                 : pthread_cond_timedwait(&m_cond, &m_mutex, deadline);
    if (rc == ETIMEDOUT) return m_signalled ? kEventSignaled : kEventTimeout;
    if (rc != 0) return kEventError;
  }
  return kEventSignaled;
}

}  // namespace sarvik
