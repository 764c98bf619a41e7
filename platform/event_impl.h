// Auto-reset event made of a mutex, a condition variable and a flag.
#ifndef SARVIK_PLATFORM_EVENT_IMPL_H
#define SARVIK_PLATFORM_EVENT_IMPL_H

#include <pthread.h>

#include "platform/event_wrapper.h"

namespace sarvik {

// If the platform refuses to create the mutex or the condition variable, the
// object still exists and every operation gives -1; the failure is not
// reported otherwise.
class EventImpl : public EventWrapper {
 public:
  EventImpl();
  ~EventImpl() override;

  EventImpl(const EventImpl&) = delete;
  EventImpl& operator=(const EventImpl&) = delete;

  int32_t reset() override;
  int32_t set() override;
  int32_t wait(uint32_t ms) override;

 private:
  int32_t waitUntilSignalled(const struct timespec* deadline);

  pthread_mutex_t m_mutex;
  pthread_cond_t m_cond;       // timed waits run on CLOCK_MONOTONIC
  bool m_signalled;            // guarded by m_mutex
  bool m_mutexReady;
  bool m_condReady;
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_EVENT_IMPL_H
