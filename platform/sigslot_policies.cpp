#include "platform/sigslot_policies.h"

namespace sigslot {

namespace {

void initRecursive(pthread_mutex_t* mutex) {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(mutex, &attr);
  pthread_mutexattr_destroy(&attr);
}

}  // namespace

multi_threaded_local::multi_threaded_local() { initRecursive(&m_mutex); }

multi_threaded_local::multi_threaded_local(const multi_threaded_local&) : multi_threaded_local() {}

multi_threaded_local::~multi_threaded_local() { pthread_mutex_destroy(&m_mutex); }

void multi_threaded_local::lock() { pthread_mutex_lock(&m_mutex); }

void multi_threaded_local::unlock() { pthread_mutex_unlock(&m_mutex); }

}  // namespace sigslot
