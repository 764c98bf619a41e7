// Counts operations in flight so that shutdown can wait for them before it
// tears anything down. An operation is counted from its first step to its
// return; the thread that shuts down does not wait for its own operations
// (it may run shutdown from inside a client callback).
#ifndef SARVIK_CONTEXT_OPERATION_GATE_H
#define SARVIK_CONTEXT_OPERATION_GATE_H

#include <condition_variable>
#include <mutex>
#include <thread>

namespace sarvik {

class OperationGate {
 public:
  void enter() {
    std::lock_guard<std::mutex> guard(m_mutex);
    ++m_inFlight;
    ++ownDepth();
  }

  void leave() {
    std::lock_guard<std::mutex> guard(m_mutex);
    --m_inFlight;
    --ownDepth();
    if (m_draining) m_drained.notify_all();
  }

  // Marks the calling thread as the one shutting down and blocks until no
  // operation of any other thread is in flight.
  void drainOthers() {
    std::unique_lock<std::mutex> guard(m_mutex);
    m_shutdownThread = std::this_thread::get_id();
    m_draining = true;
    const int own = ownDepth();
    m_drained.wait(guard, [&] { return m_inFlight == own; });
    m_draining = false;
  }

  bool onShutdownThread() const {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_shutdownThread == std::this_thread::get_id();
  }

  void clearShutdownThread() {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_shutdownThread = std::thread::id();
  }

  // True while the calling thread runs the inner steps of an operation that
  // has passed its guards (closeDevice closing its streams, closeStream
  // stopping and destroying). Shutdown waits for that operation, so its steps
  // must not be refused as new calls: a half-done close would leave a device
  // deleted under streams that are still started.
  static bool inInnerSteps() { return innerSteps() > 0; }

 private:
  friend class InnerSteps;
  static int& innerSteps() {
    thread_local int steps = 0;
    return steps;
  }

 public:

 private:
  // Depth of the calling thread's own operations on this gate.
  int& ownDepth() {
    thread_local const OperationGate* gate = nullptr;
    thread_local int depth = 0;
    if (gate != this) {
      gate = this;
      depth = 0;
    }
    return depth;
  }

  mutable std::mutex m_mutex;
  std::condition_variable m_drained;
  int m_inFlight = 0;
  bool m_draining = false;
  std::thread::id m_shutdownThread;
};

// Holds one operation in the gate for its scope.
class OperationScope {
 public:
  explicit OperationScope(OperationGate& gate) : m_gate(gate) { m_gate.enter(); }
  ~OperationScope() { m_gate.leave(); }
  OperationScope(const OperationScope&) = delete;
  OperationScope& operator=(const OperationScope&) = delete;

 private:
  OperationGate& m_gate;
};

// Marks the calling thread as running inner steps for its scope (see
// OperationGate::inInnerSteps). With `suspend`, the mark is lifted for the
// scope instead: a client callback called from inside an operation starts
// new calls of its own, which are refused like any other once shutdown began.
class InnerSteps {
 public:
  explicit InnerSteps(bool suspend = false) : m_saved(OperationGate::innerSteps()) {
    OperationGate::innerSteps() = suspend ? 0 : m_saved + 1;
  }
  ~InnerSteps() { OperationGate::innerSteps() = m_saved; }
  InnerSteps(const InnerSteps&) = delete;
  InnerSteps& operator=(const InnerSteps&) = delete;

 private:
  int m_saved;
};

}  // namespace sarvik

#endif  // SARVIK_CONTEXT_OPERATION_GATE_H
