// USB identities that openDeviceByFd can open, and the plug-in of each.
#ifndef SARVIK_CONTEXT_SUPPORTED_DEVICES_H
#define SARVIK_CONTEXT_SUPPORTED_DEVICES_H

#include <cstddef>
#include <cstdint>

namespace sarvik {

struct SupportedDevice {
  uint16_t productId;
  uint16_t vendorId;
  int32_t driverType;
};
static_assert(sizeof(SupportedDevice) == 8, "a row is 8 bytes");
static_assert(offsetof(SupportedDevice, vendorId) == 2, "vendorId at 2");
static_assert(offsetof(SupportedDevice, driverType) == 4, "driverType at 4");

constexpr size_t kSupportedDeviceCount = 41;
extern const SupportedDevice g_supportedDevices[kSupportedDeviceCount];

}  // namespace sarvik

#endif  // SARVIK_CONTEXT_SUPPORTED_DEVICES_H
