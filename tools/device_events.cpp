#include "tools/device_events.h"

#include <chrono>

namespace sarvik {
namespace tools {

namespace {
// Events nobody collects (e.g. `watch` prints from the listener) must not
// pile up for the whole run.
constexpr size_t kMaxQueued = 256;
}  // namespace

void DeviceEvents::setListener(Listener listener) { m_listener = std::move(listener); }

void DeviceEvents::callback(const char* deviceAddr, const char* sn, uint32_t deviceState, void* user) {
  static_cast<DeviceEvents*>(user)->onEvent(deviceAddr, sn, deviceState);
}

void DeviceEvents::onEvent(const char* deviceAddr, const char* sn, uint32_t deviceState) {
  DeviceEvent event;
  // The texts live only for the call; a plug-in may pass null.
  event.address = deviceAddr != nullptr ? deviceAddr : "(null)";
  event.serial = sn != nullptr ? sn : "(null)";
  event.state = deviceState;
  if (m_listener) m_listener(event);
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_queue.size() == kMaxQueued) m_queue.pop_front();
    m_queue.push_back(event);
  }
  m_arrived.notify_all();
}

bool DeviceEvents::waitEvent(uint32_t timeoutMs, DeviceEvent* event) {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (!m_arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !m_queue.empty(); })) {
    return false;
  }
  *event = m_queue.front();
  m_queue.pop_front();
  return true;
}

}  // namespace tools
}  // namespace sarvik
