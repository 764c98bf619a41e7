#include "tools/record_sidecar.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "sarvik/SarvikCamera.h"
#include "sarvik/SarvikRecordFile.h"

namespace sarvik {
namespace tools {

namespace {

std::string fixedText(const char* field, size_t room) { return std::string(field, strnlen(field, room)); }

// Floats with enough digits to come back as the same float.
std::string number(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
  return text;
}

}  // namespace

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);
      out += escape;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

std::string describeRecordedCamera(SarvikBaseContext* context, Device* device, const std::string& address,
                                   const std::vector<uint32_t>& types) {
  std::ostringstream json;
  json << "{\n  \"sidecar\": " << kSarvikRecordSidecarVersion << ",\n  \"camera\": {\"uri\": " << jsonString(address);
  if (const typedefSarvikDeviceInfo* info = context->findDeviceByUri(address.c_str())) {
    json << ", \"name\": " << jsonString(fixedText(info->name, sizeof info->name))
         << ", \"serial\": " << jsonString(fixedText(info->serialNumber, sizeof info->serialNumber))
         << ", \"vendorId\": " << info->vendorId << ", \"productId\": " << info->productId;
  }
  SarvikDeviceInfoBlock block{};
  uint32_t length = sizeof block;
  if (context->getDeviceProperty(device, kSarvikPropertyDeviceInfo, &block, &length) == 0 && length == sizeof block) {
    json << ", \"firmware\": " << jsonString(fixedText(block.firmwareVersion, sizeof block.firmwareVersion));
  }
  json << "}";
  SarvikDepthUnit unit{};
  length = sizeof unit;
  if (context->getDeviceProperty(device, kSarvikPropertyDepthUnit, &unit, &length) == 0 && length == sizeof unit) {
    json << ",\n  \"depthUnit\": {\"encoding\": " << unit.encoding << ", \"metresPerUnit\": "
         << number(unit.metresPerUnit) << "}";
  }
  json << ",\n  \"streams\": [";
  const char* separator = "";
  for (uint32_t type : types) {
    const typedefSarvikFrameMode* mode = context->getCurrentFrameMode(device, type);
    if (mode == nullptr) continue;
    json << separator << "\n    {\"streamType\": " << type << ", \"width\": " << sarvikModeWidth(*mode)
         << ", \"height\": " << sarvikModeHeight(*mode) << ", \"fps\": " << static_cast<int>(sarvikModeFps(*mode))
         << ", \"pixelFormat\": " << sarvikModeFormat(*mode);
    SarvikIntrinsics k{};
    length = sizeof k;
    if (context->getDeviceProperty(device, kSarvikPropertyIntrinsicsBase + type, &k, &length) == 0 &&
        length == sizeof k) {
      json << ", \"intrinsics\": {\"fx\": " << number(k.fx) << ", \"fy\": " << number(k.fy)
           << ", \"cx\": " << number(k.cx) << ", \"cy\": " << number(k.cy) << "}";
    }
    json << "}";
    separator = ",";
  }
  json << "\n  ]\n}\n";
  return json.str();
}

bool writeRecordSidecar(SarvikBaseContext* context, Device* device, const std::string& address,
                        const std::string& recordFile, const std::vector<uint32_t>& types) {
  const std::string path = recordFile + SARVIK_RECORD_SIDECAR_SUFFIX;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << describeRecordedCamera(context, device, address, types);
  out.close();
  if (!out) {
    std::fprintf(stderr, "cannot write %s; the recording plays without it\n", path.c_str());
    return false;
  }
  return true;
}

}  // namespace tools
}  // namespace sarvik
