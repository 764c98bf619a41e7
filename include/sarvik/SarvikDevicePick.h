// How every program of the SDK names a camera: by address, by serial number,
// or by its index in the device list; or not at all, which takes the only
// camera, or the first listed when there are several.
#ifndef SARVIK_DEVICE_PICK_H
#define SARVIK_DEVICE_PICK_H

#include <cstdint>
#include <cstring>
#include <string>

#include "sarvik/SarvikTypes.h"

namespace sarvik {

// The record `selector` names among `count` records, or null with *error
// saying why (no camera at all, no such address, serial or index).
inline const typedefSarvikDeviceInfo* pickDevice(const typedefSarvikDeviceInfo* list, uint32_t count,
                                                 const std::string& selector, std::string* error) {
  auto fail = [&](const std::string& why) -> const typedefSarvikDeviceInfo* {
    if (error != nullptr) *error = why;
    return nullptr;
  };
  if (list == nullptr || count == 0) return fail("no camera found");
  if (selector.empty()) return &list[0];
  const bool allDigits = selector.size() <= 9 && selector.find_first_not_of("0123456789") == std::string::npos;
  if (allDigits) {
    const unsigned long index = std::stoul(selector);
    if (index < count) return &list[index];
    return fail("no camera with index " + selector + " (" + std::to_string(count) + " listed)");
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (std::strncmp(list[i].uri, selector.c_str(), sizeof list[i].uri) == 0) return &list[i];
  }
  for (uint32_t i = 0; i < count; ++i) {
    if (std::strncmp(list[i].serialNumber, selector.c_str(), sizeof list[i].serialNumber) == 0) return &list[i];
  }
  return fail("no camera with address or serial " + selector);
}

}  // namespace sarvik

#endif  // SARVIK_DEVICE_PICK_H
