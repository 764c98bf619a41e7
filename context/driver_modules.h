// Module-level state of the plug-in bindings: one of each per process, zero
// at load. The third slots exist for DriverType 3, which nothing binds.
#ifndef SARVIK_CONTEXT_DRIVER_MODULES_H
#define SARVIK_CONTEXT_DRIVER_MODULES_H

#include "sarvik/SarvikDriver.h"

namespace sarvik {

extern void* g_uvcModule;
extern void* g_netModule;
extern void* g_thirdModule;
extern DriverDestroyFn g_uvcDestroy;
extern DriverDestroyFn g_netDestroy;
extern DriverDestroyFn g_thirdDestroy;

constexpr const char* kUvcDriverFile = "libSarvikUvcDriver.so";
constexpr const char* kNetDriverFile = "libSarvikNetDriver.so";

}  // namespace sarvik

#endif  // SARVIK_CONTEXT_DRIVER_MODULES_H
