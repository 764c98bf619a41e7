#include "platform/critical_section_impl.h"

namespace sarvik {

CriticalSectionImpl::CriticalSectionImpl() {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&m_mutex, &attr);
  pthread_mutexattr_destroy(&attr);
}

CriticalSectionImpl::~CriticalSectionImpl() { pthread_mutex_destroy(&m_mutex); }

// The results are not looked at: with a recursive mutex that was initialised,
// lock and unlock fail only on misuse (unlocking a lock one doesn't hold),
// which the callers' balanced use rules out.
void CriticalSectionImpl::lock() { pthread_mutex_lock(&m_mutex); }

void CriticalSectionImpl::unlock() { pthread_mutex_unlock(&m_mutex); }

}  // namespace sarvik
