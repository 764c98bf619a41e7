#include "api_json.h"

#include <cstring>

#include "sensor_names.h"

namespace sarvik_viewer {

std::string recordText(const char* field, size_t size) {
  const void* end = std::memchr(field, '\0', size);
  return std::string(field, end != nullptr ? static_cast<const char*>(end) - field : size);
}

nlohmann::json deviceJson(const typedefSarvikDeviceInfo& info) {
  // Copies: the records are packed, and json would bind a reference to the
  // misaligned fields.
  const uint16_t vendorId = info.vendorId;
  const uint16_t productId = info.productId;
  const uint32_t connection = info.ConnectionType;
  return {{"address", recordText(info.uri, sizeof info.uri)},
          {"serial", recordText(info.serialNumber, sizeof info.serialNumber)},
          {"name", recordText(info.name, sizeof info.name)},
          {"vendorId", vendorId},
          {"productId", productId},
          {"connection", connection}};
}

nlohmann::json modeJson(const SarvikModeRecord& mode, size_t index) {
  const char* format = sarvikPixelName(sarvikModeFormat(mode.mode));
  return {{"index", index},
          {"width", sarvikModeWidth(mode.mode)},
          {"height", sarvikModeHeight(mode.mode)},
          {"format", format != nullptr ? format : "unknown"},
          {"fps", sarvikModeFps(mode.mode)}};
}

nlohmann::json propertyJson(const PropertyValue& property) {
  const SarvikPropertyInfo& info = property.info;
  nlohmann::json out = {{"id", info.id},
                        {"name", recordText(info.name, sizeof info.name)},
                        {"readable", (info.flags & kSarvikPropertyReadable) != 0},
                        {"writable", (info.flags & kSarvikPropertyWritable) != 0},
                        {"minimum", info.minimum},
                        {"maximum", info.maximum},
                        {"step", info.step},
                        {"default", info.defaultValue}};
  if (property.hasValue) out["value"] = property.value;
  return out;
}

nlohmann::json streamJson(const StreamState& state) {
  const StreamCounters& c = state.counters;
  return {{"sensor", sensorName(state.type)}, {"frames", c.frames},        {"dropped", c.dropped},
          {"skipped", c.skipped},             {"lastStamp", c.lastStamp},  {"lastNumber", c.lastNumber},
          {"width", c.width},                 {"height", c.height}};
}

}  // namespace sarvik_viewer
