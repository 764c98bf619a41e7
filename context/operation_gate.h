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

}  // namespace sarvik

#endif  // SARVIK_CONTEXT_OPERATION_GATE_H
