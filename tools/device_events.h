// Receives the module's device-state events. The module calls back on a
// plug-in's thread with no lock of its own held; this sink copies each event
// and wakes whoever waits, and may also hand it to a listener right there.
#ifndef SARVIK_TOOLS_DEVICE_EVENTS_H
#define SARVIK_TOOLS_DEVICE_EVENTS_H

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>

namespace sarvik {
namespace tools {

struct DeviceEvent {
  std::string address;
  std::string serial;
  uint32_t state = 0;  // 1: the device went away
};

class DeviceEvents {
 public:
  // Called on the plug-in's thread for every event, before it is queued. The
  // device table is already rebuilt then, so the listener may read it.
  using Listener = std::function<void(const DeviceEvent&)>;

  void setListener(Listener listener);

  // The function to register with registerDeviceStateCallback, with `this`
  // as its user pointer. This object must outlive the context's shutdown.
  static void callback(const char* deviceAddr, const char* sn, uint32_t deviceState, void* user);

  // Waits up to `timeoutMs` for an event and takes the oldest; false if none came.
  bool waitEvent(uint32_t timeoutMs, DeviceEvent* event);

 private:
  void onEvent(const char* deviceAddr, const char* sn, uint32_t deviceState);

  std::mutex m_mutex;
  std::condition_variable m_arrived;
  std::deque<DeviceEvent> m_queue;  // guarded by m_mutex
  Listener m_listener;              // set before registration, then only read
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_DEVICE_EVENTS_H
