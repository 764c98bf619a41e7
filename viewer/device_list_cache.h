// A copy of the module's device table. The module rewrites its table in
// place on every device-state event, so it is read only at start and from
// the device-state callback, and everyone else reads this copy. Thread-safe.
#ifndef SARVIK_VIEWER_DEVICE_LIST_CACHE_H
#define SARVIK_VIEWER_DEVICE_LIST_CACHE_H

#include <mutex>
#include <vector>

#include "sarvik/SarvikBaseContext.h"

namespace sarvik_viewer {

class DeviceListCache {
 public:
  // The cache of the process. A device-state callback cannot be taken back
  // from the module, so the object it points at lives as long as the process.
  static DeviceListCache& instance();

  // Registers for events (once per context object) and reads the table.
  void follow(SarvikBaseContext* context);
  std::vector<typedefSarvikDeviceInfo> devices() const;
  // Events seen so far; lets the page notice a camera coming or going.
  unsigned events() const;

 private:
  static void onDeviceState(const char* address, const char* serial, uint32_t state, void* user);
  void refresh(SarvikBaseContext* context);

  mutable std::mutex m_lock;
  std::vector<typedefSarvikDeviceInfo> m_devices;  // guarded by m_lock
  std::vector<SarvikBaseContext*> m_followed;      // guarded by m_lock
  unsigned m_events = 0;                           // guarded by m_lock
};

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_DEVICE_LIST_CACHE_H
