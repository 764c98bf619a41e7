// Threading policies of the signal and slot templates, and their scoped guard.
// A signal or receiver derives from its policy and locks itself through it.
#ifndef SARVIK_PLATFORM_SIGSLOT_POLICIES_H
#define SARVIK_PLATFORM_SIGSLOT_POLICIES_H

#include <pthread.h>

namespace sigslot {

// No lock: whoever uses the object must keep other threads away from it.
class single_threaded {
 public:
  single_threaded() {}
  virtual ~single_threaded() {}
  virtual void lock() {}
  virtual void unlock() {}
};

// One re-entrant lock per object, so that a slot may connect or disconnect on
// the signal that is delivering to it. A copy gets a lock of its own.
class multi_threaded_local {
 public:
  multi_threaded_local();
  multi_threaded_local(const multi_threaded_local&);
  multi_threaded_local& operator=(const multi_threaded_local&) { return *this; }
  virtual ~multi_threaded_local();
  virtual void lock();
  virtual void unlock();

 private:
  pthread_mutex_t m_mutex;
};

// Holds the policy lock of an object for the enclosing scope.
template <class mt_policy>
class lock_block {
 public:
  explicit lock_block(mt_policy* mtx) : m_mutex(mtx) { m_mutex->lock(); }
  ~lock_block() { m_mutex->unlock(); }

  lock_block(const lock_block&) = delete;
  lock_block& operator=(const lock_block&) = delete;

 private:
  mt_policy* m_mutex;
};

}  // namespace sigslot

#endif  // SARVIK_PLATFORM_SIGSLOT_POLICIES_H
