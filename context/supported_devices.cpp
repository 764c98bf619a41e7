#include "context/supported_devices.h"

namespace sarvik {

const SupportedDevice g_supportedDevices[kSupportedDeviceCount] = {
#include "supported_devices.inc"
};

}  // namespace sarvik
