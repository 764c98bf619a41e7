// The network transport plug-in. Until it reaches real servers it hosts the
// simulated cameras of the network transport.
#include "../host/host_plugin.h"
#include "../simcam/sim_backend.h"

SARVIK_PLUGIN_EXPORT sarvik::DriverInterfaceBase* driverInstance() {
  sarvikhost::HostOptions options;
  options.pluginName = "net";
  options.connectionType = kSimTransportNet;
  options.simulated = sarvikhost::SimulatedPolicy::On;
  return sarvikhost::createDriver(options, [] {
    sarvikhost::BackendList backends;
    backends.emplace_back(new simcam::SimBackend(kSimTransportNet));
    return backends;
  });
}

SARVIK_PLUGIN_EXPORT int32_t driverDestroy(sarvik::DriverInterfaceBase* driver) {
  return sarvikhost::destroyDriver(driver);
}

SARVIK_PLUGIN_EXPORT int32_t simcamUnplug(const char* uri) { return simcam::simSetPresentEverywhere(uri, false); }

SARVIK_PLUGIN_EXPORT int32_t simcamPlug(const char* uri) { return simcam::simSetPresentEverywhere(uri, true); }
