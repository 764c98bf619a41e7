// The USB transport plug-in: the host over its back ends, simulated cameras
// and (soon) record files. Its own settings file is sarvikUvc.conf (README.md).
#include <cstdlib>
#include <string>

#include "../host/host_plugin.h"
#include "../host/host_settings.h"
#include "../simcam/sim_backend.h"

namespace {

sarvikhost::SimulatedPolicy simulatedPolicy(const sarvikhost::KeyValueFile& settings) {
  // The environment is the stronger word: tests and tools force cameras on or off.
  const char* forced = std::getenv(SARVIK_ENV_SIM_CAMERAS);
  if (forced != nullptr && forced[0] != '\0') {
    return std::strtol(forced, nullptr, 10) > 0 ? sarvikhost::SimulatedPolicy::On : sarvikhost::SimulatedPolicy::Off;
  }
  std::string value = settings.get("simulated", "auto");
  if (value == "yes" || value == "on") return sarvikhost::SimulatedPolicy::On;
  if (value == "no" || value == "off") return sarvikhost::SimulatedPolicy::Off;
  return sarvikhost::SimulatedPolicy::Auto;
}

}  // namespace

SARVIK_PLUGIN_EXPORT sarvik::DriverInterfaceBase* driverInstance() {
  sarvikhost::KeyValueFile settings = sarvikhost::loadSettings("sarvikUvc.conf");
  sarvikhost::HostOptions options;
  options.pluginName = "usb";
  options.connectionType = kSimTransportUsb;
  options.simulated = simulatedPolicy(settings);
  return sarvikhost::createDriver(options, [] {
    sarvikhost::BackendList backends;
    backends.emplace_back(new simcam::SimBackend(kSimTransportUsb));
    return backends;
  });
}

SARVIK_PLUGIN_EXPORT int32_t driverDestroy(sarvik::DriverInterfaceBase* driver) {
  return sarvikhost::destroyDriver(driver);
}

// Test and tool controls: plug a simulated camera out or in as if by hand.
// 0: changed, 1: it already was so, -1: no camera of that address in this
// library. The device-state event follows on the plug-in's event thread.
SARVIK_PLUGIN_EXPORT int32_t simcamUnplug(const char* uri) { return simcam::simSetPresentEverywhere(uri, false); }

SARVIK_PLUGIN_EXPORT int32_t simcamPlug(const char* uri) { return simcam::simSetPresentEverywhere(uri, true); }
