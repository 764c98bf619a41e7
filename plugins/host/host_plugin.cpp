#include "host_plugin.h"

#include <algorithm>
#include <mutex>

namespace sarvikhost {

namespace {

std::mutex g_lock;
std::vector<HostDriver*> g_drivers;

}  // namespace

sarvik::DriverInterfaceBase* createDriver(const HostOptions& options, const std::function<BackendList()>& make) {
  HostDriver* driver = nullptr;
  try {
    driver = new HostDriver(options, make());
    std::lock_guard<std::mutex> lock(g_lock);
    g_drivers.push_back(driver);
  } catch (...) {
    delete driver;
    return nullptr;
  }
  return driver;
}

int32_t destroyDriver(sarvik::DriverInterfaceBase* driver) {
  HostDriver* found = nullptr;
  {
    std::lock_guard<std::mutex> lock(g_lock);
    auto it = std::find(g_drivers.begin(), g_drivers.end(), driver);
    if (it == g_drivers.end()) return -1;
    found = *it;
    g_drivers.erase(it);
  }
  delete found;  // joins every thread the object started
  return 0;
}

}  // namespace sarvikhost
