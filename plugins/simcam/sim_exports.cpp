// The plug-in's C exports. This is the one file that knows which transport
// the library was built for.
#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "sarvik/SarvikDriver.h"
#include "sim_driver.h"

#define SIMCAM_EXPORT extern "C" __attribute__((visibility("default")))

#ifdef SIMCAM_TRANSPORT_NET
static constexpr SimTransport kTransport = kSimTransportNet;
#else
static constexpr SimTransport kTransport = kSimTransportUsb;
#endif

namespace {

// Every plug-in object alive in this library, for the test exports below.
std::mutex g_registryLock;
std::vector<simcam::SimDriver*> g_drivers;

std::string pluginFolder() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&pluginFolder), &info) == 0 || info.dli_fname == nullptr) return "./";
  char resolved[PATH_MAX];
  std::string file = realpath(info.dli_fname, resolved) != nullptr ? resolved : info.dli_fname;
  size_t slash = file.rfind('/');
  return slash == std::string::npos ? "./" : file.substr(0, slash + 1);
}

int32_t setPresent(const char* uri, bool present) {
  if (uri == nullptr) return -1;
  std::lock_guard<std::mutex> lock(g_registryLock);
  int32_t result = -1;
  for (simcam::SimDriver* driver : g_drivers) {
    int32_t r = driver->setPresent(uri, present);
    if (r >= 0 && result < 0) result = r;
  }
  return result;
}

}  // namespace

SIMCAM_EXPORT sarvik::DriverInterfaceBase* driverInstance() {
  simcam::SimDriver* driver = nullptr;
  try {
    driver = new simcam::SimDriver(kTransport, pluginFolder());
    std::lock_guard<std::mutex> lock(g_registryLock);
    g_drivers.push_back(driver);
  } catch (...) {
    // The host takes null for "no object"; nothing may escape into it.
    delete driver;
    return nullptr;
  }
  return driver;
}

SIMCAM_EXPORT int32_t driverDestroy(sarvik::DriverInterfaceBase* driver) {
  simcam::SimDriver* found = nullptr;
  {
    std::lock_guard<std::mutex> lock(g_registryLock);
    auto it = std::find(g_drivers.begin(), g_drivers.end(), driver);
    if (it == g_drivers.end()) return -1;
    found = *it;
    g_drivers.erase(it);
  }
  delete found;  // joins every thread the object started
  return 0;
}

// Test and tool controls: plug a camera out or in as if by hand. 0: changed,
// 1: it already was so, -1: no camera of that address in this library. The
// device-state event follows on the plug-in's event thread.
SIMCAM_EXPORT int32_t simcamUnplug(const char* uri) { return setPresent(uri, false); }

SIMCAM_EXPORT int32_t simcamPlug(const char* uri) { return setPresent(uri, true); }
