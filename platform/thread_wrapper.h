// Worker threads. A worker calls one plain function in a loop until that
// function returns false or the owner stops it.
#ifndef SARVIK_PLATFORM_THREAD_WRAPPER_H
#define SARVIK_PLATFORM_THREAD_WRAPPER_H

#include <cstdint>

namespace sarvik {

// Called in the worker's loop with the context given at construction. Return
// true to be called again, false to end the thread. The function is never
// interrupted: stop() takes effect only when the current call returns, so the
// function must come back by itself every so often (waiting in short slices)
// and must not let an exception out.
typedef bool (*ThreadRunFunction)(void* context);

// start(): 0 once the new thread runs (the run function is then called at
// least once), -4 without a run function, -5 if the thread runs already, -1 if
// the platform could not create a thread, -11 if the thread did not confirm
// its start within 2000 ms (it may still be running; stop() or the destructor
// ends it). A wrapper whose thread has ended may be started again.
//
// stop(): 0 once the thread has ended, -5 if it was not running (never
// started, stopped already, or its run function returned false), -1 if joining
// failed, and -1 at once, without waiting, when called on the wrapper's own
// thread (from the run function or anything it calls), which would otherwise
// wait for itself forever. A thread ends itself by returning false.
//
// setPriority(): 0 on success, -5 if no thread was ever created, -1 if the
// platform refuses the value.
//
// start(), stop() and setPriority() may be called from any thread, but not at
// the same time as each other on one object. isCurrentThread() may be called
// at any time from any thread. Destroying a wrapper stops its thread and waits
// until it has ended, also when the run function ended it; a wrapper must
// therefore not be destroyed on its own thread.
class ThreadWrapper {
 public:
  virtual ~ThreadWrapper() {}
  virtual int32_t start() = 0;
  virtual int32_t stop() = 0;
  virtual int32_t setPriority(int32_t priority) = 0;
  // True when called on the thread this wrapper runs.
  virtual bool isCurrentThread() const = 0;
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_THREAD_WRAPPER_H
