// What a plug-in's exports file needs: driverInstance and driverDestroy over
// a HostDriver, with nothing escaping into the module.
#ifndef SARVIK_HOST_PLUGIN_H
#define SARVIK_HOST_PLUGIN_H

#include <functional>
#include <memory>
#include <vector>

#include "host_driver.h"

#define SARVIK_PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace sarvikhost {

using BackendList = std::vector<std::unique_ptr<Backend>>;

// A new plug-in object over the back ends `make` returns, or null when
// anything failed (the module takes null for "no object").
sarvik::DriverInterfaceBase* createDriver(const HostOptions& options, const std::function<BackendList()>& make);
// -1 for an object this library did not make.
int32_t destroyDriver(sarvik::DriverInterfaceBase* driver);

}  // namespace sarvikhost

#endif  // SARVIK_HOST_PLUGIN_H
