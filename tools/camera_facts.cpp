#include "tools/camera_facts.h"

#include <cmath>
#include <cstring>

namespace sarvik {
namespace tools {

namespace {

// Exactly the record's size, or it is not the record.
template <typename Record>
bool readProperty(SarvikBaseContext* context, Device* device, uint32_t id, Record* out) {
  Record value;
  std::memset(&value, 0, sizeof value);
  uint32_t length = sizeof value;
  if (context->getDeviceProperty(device, id, &value, &length) != 0 || length != sizeof value) return false;
  *out = value;
  return true;
}

}  // namespace

bool readIntrinsics(SarvikBaseContext* context, Device* device, uint32_t sensorType, SarvikIntrinsics* out) {
  SarvikIntrinsics value;
  if (!readProperty(context, device, kSarvikPropertyIntrinsicsBase + sensorType, &value)) return false;
  // A focal length that is not a positive number would make every point NaN or infinite.
  if (!(std::isfinite(value.fx) && value.fx > 0 && std::isfinite(value.fy) && value.fy > 0 &&
        std::isfinite(value.cx) && std::isfinite(value.cy))) {
    return false;
  }
  *out = value;
  return true;
}

bool readDepthUnit(SarvikBaseContext* context, Device* device, SarvikDepthUnit* out) {
  SarvikDepthUnit value;
  if (!readProperty(context, device, kSarvikPropertyDepthUnit, &value)) return false;
  if (!(std::isfinite(value.metresPerUnit) && value.metresPerUnit > 0)) return false;
  *out = value;
  return true;
}

bool readDeviceInfo(SarvikBaseContext* context, Device* device, SarvikDeviceInfoBlock* out) {
  return readProperty(context, device, kSarvikPropertyDeviceInfo, out);
}

const char* depthEncodingName(uint32_t encoding) {
  switch (encoding) {
    case SARVIK_DEPTH_FRACTION_4: return "4 fractional bits";
    case SARVIK_DEPTH_FRACTION_3: return "3 fractional bits";
    default: return "2 fractional bits";
  }
}

std::string fieldText(const char* field, size_t size) { return std::string(field, strnlen(field, size)); }

}  // namespace tools
}  // namespace sarvik
