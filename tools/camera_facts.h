// What a camera says about itself beyond its modes: intrinsics per sensor,
// the depth unit and the identity block, read through the properties of
// SarvikCamera.h. A camera that does not answer simply has none.
#ifndef SARVIK_TOOLS_CAMERA_FACTS_H
#define SARVIK_TOOLS_CAMERA_FACTS_H

#include <cstdint>
#include <string>

#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikCamera.h"

namespace sarvik {
namespace tools {

// The sensor's intrinsics in its current mode; false if the camera has none.
bool readIntrinsics(SarvikBaseContext* context, Device* device, uint32_t sensorType, SarvikIntrinsics* out);

// False if the camera does not say.
bool readDepthUnit(SarvikBaseContext* context, Device* device, SarvikDepthUnit* out);

bool readDeviceInfo(SarvikBaseContext* context, Device* device, SarvikDeviceInfoBlock* out);

// "2 fractional bits" for an encoding as depthToPointCloud reads it.
const char* depthEncodingName(uint32_t encoding);

// A fixed-size text field up to its NUL or end.
std::string fieldText(const char* field, size_t size);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_CAMERA_FACTS_H
