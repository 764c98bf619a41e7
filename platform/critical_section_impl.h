// The module's one lock implementation: a recursive POSIX mutex.
#ifndef SARVIK_PLATFORM_CRITICAL_SECTION_IMPL_H
#define SARVIK_PLATFORM_CRITICAL_SECTION_IMPL_H

#include <pthread.h>

#include "platform/critical_section_wrapper.h"

namespace sarvik {

// Uncontended lock() and unlock() stay in user space, which is why this lock
// may stand on the per-frame paths.
class CriticalSectionImpl : public CriticalSectionWrapper {
 public:
  CriticalSectionImpl();
  ~CriticalSectionImpl() override;

  CriticalSectionImpl(const CriticalSectionImpl&) = delete;
  CriticalSectionImpl& operator=(const CriticalSectionImpl&) = delete;

  void lock() override;
  void unlock() override;

 private:
  pthread_mutex_t m_mutex;
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_CRITICAL_SECTION_IMPL_H
