// Re-entrant mutual exclusion for the whole module. Everything outside the
// platform layer locks through this interface and never sees the mutex behind it.
#ifndef SARVIK_PLATFORM_CRITICAL_SECTION_WRAPPER_H
#define SARVIK_PLATFORM_CRITICAL_SECTION_WRAPPER_H

namespace sarvik {

// A lock that the holding thread may take again; it must then unlock it as
// often as it locked it. lock() blocks without limit and cannot fail. The owner
// creates it with new, deletes it through this interface, and must make sure
// it is free (and no thread waits for it) by then.
class CriticalSectionWrapper {
 public:
  virtual ~CriticalSectionWrapper() {}
  virtual void lock() = 0;
  virtual void unlock() = 0;
};

// Holds a lock for the enclosing scope, so that an exception thrown inside the
// scope releases it on the way out.
class ScopedLock {
 public:
  explicit ScopedLock(CriticalSectionWrapper* lock) : m_lock(lock) { m_lock->lock(); }
  ~ScopedLock() { m_lock->unlock(); }

  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

 private:
  CriticalSectionWrapper* m_lock;
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_CRITICAL_SECTION_WRAPPER_H
