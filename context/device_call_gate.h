// Counts the plug-in calls on a device object that run without the context
// lock (a task's start, the plug-in's own point cloud), so that closeDevice can
// wait for them before the object and its task are handed back and deleted.
#ifndef SARVIK_CONTEXT_DEVICE_CALL_GATE_H
#define SARVIK_CONTEXT_DEVICE_CALL_GATE_H

#include <condition_variable>
#include <map>
#include <mutex>

namespace sarvik {

class DeviceCallGate {
 public:
  // REQUIRES: the caller holds the context lock and has seen the device open
  // and not closing; closeDevice changes both under that lock, so no call
  // can be counted in after it has begun to wait.
  void enter(const void* device) {
    std::lock_guard<std::mutex> guard(m_mutex);
    ++m_calls[device];
  }

  void leave(const void* device) {
    std::lock_guard<std::mutex> guard(m_mutex);
    auto found = m_calls.find(device);
    if (found != m_calls.end() && --found->second == 0) m_calls.erase(found);
    m_idle.notify_all();
  }

  void waitIdle(const void* device) {
    std::unique_lock<std::mutex> guard(m_mutex);
    m_idle.wait(guard, [&] { return m_calls.count(device) == 0; });
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_idle;
  std::map<const void*, int> m_calls;
};

// One counted call for its scope.
class DeviceCallScope {
 public:
  DeviceCallScope(DeviceCallGate& gate, const void* device) : m_gate(gate), m_device(device) {}
  ~DeviceCallScope() { m_gate.leave(m_device); }
  DeviceCallScope(const DeviceCallScope&) = delete;
  DeviceCallScope& operator=(const DeviceCallScope&) = delete;

 private:
  DeviceCallGate& m_gate;
  const void* m_device;
};

}  // namespace sarvik

#endif  // SARVIK_CONTEXT_DEVICE_CALL_GATE_H
