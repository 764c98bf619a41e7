#include "playback_sidecar.h"

#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "sarvik/SarvikRecordFile.h"

namespace playback {

namespace {

using nlohmann::json;

// A sidecar is small; anything bigger is not one of ours.
constexpr std::streamsize kMaxSidecarBytes = 1 << 20;

template <typename T>
T valueOr(const json& object, const char* key, T fallback) {
  auto it = object.find(key);
  if (it == object.end()) return fallback;
  try {
    return it->get<T>();
  } catch (const json::exception&) {
    return fallback;
  }
}

}  // namespace

const SidecarStream* Sidecar::find(uint32_t streamType, uint32_t width, uint32_t height) const {
  for (const SidecarStream& s : streams) {
    if (s.streamType == streamType && s.width == width && s.height == height) return &s;
  }
  return nullptr;
}

Sidecar parseSidecar(const std::string& text, std::string* warning) {
  Sidecar sidecar;
  json root = json::parse(text, nullptr, false);
  if (root.is_discarded() || !root.is_object()) {
    *warning = "the sidecar is not a JSON object";
    return sidecar;
  }
  sidecar.present = true;
  if (root.contains("camera") && root["camera"].is_object()) {
    const json& camera = root["camera"];
    sidecar.name = valueOr<std::string>(camera, "name", "");
    sidecar.serial = valueOr<std::string>(camera, "serial", "");
    sidecar.uri = valueOr<std::string>(camera, "uri", "");
    sidecar.firmware = valueOr<std::string>(camera, "firmware", "");
    sidecar.vendorId = static_cast<uint16_t>(valueOr<unsigned>(camera, "vendorId", 0));
    sidecar.productId = static_cast<uint16_t>(valueOr<unsigned>(camera, "productId", 0));
  }
  if (root.contains("depthUnit") && root["depthUnit"].is_object()) {
    const json& unit = root["depthUnit"];
    float metres = valueOr<float>(unit, "metresPerUnit", 0.0f);
    if (metres > 0.0f) {
      sidecar.hasDepthUnit = true;
      sidecar.depthUnit.encoding = valueOr<uint32_t>(unit, "encoding", 0);
      sidecar.depthUnit.metresPerUnit = metres;
    }
  }
  if (root.contains("streams") && root["streams"].is_array()) {
    for (const json& entry : root["streams"]) {
      if (!entry.is_object()) continue;
      SidecarStream s;
      s.streamType = valueOr<uint32_t>(entry, "streamType", 0);
      s.width = valueOr<uint32_t>(entry, "width", 0);
      s.height = valueOr<uint32_t>(entry, "height", 0);
      s.fps = valueOr<int>(entry, "fps", 0);
      s.pixelFormat = valueOr<int>(entry, "pixelFormat", -1);
      if (entry.contains("intrinsics") && entry["intrinsics"].is_object()) {
        const json& k = entry["intrinsics"];
        s.intrinsics.width = s.width;
        s.intrinsics.height = s.height;
        s.intrinsics.fx = valueOr<float>(k, "fx", 0.0f);
        s.intrinsics.fy = valueOr<float>(k, "fy", 0.0f);
        s.intrinsics.cx = valueOr<float>(k, "cx", 0.0f);
        s.intrinsics.cy = valueOr<float>(k, "cy", 0.0f);
        s.hasIntrinsics = s.intrinsics.fx > 0.0f && s.intrinsics.fy > 0.0f;
      }
      if (s.streamType != 0 && s.width != 0 && s.height != 0) sidecar.streams.push_back(s);
    }
  }
  return sidecar;
}

Sidecar readSidecar(const std::string& recordPath, std::string* warning) {
  std::ifstream in(recordPath + SARVIK_RECORD_SIDECAR_SUFFIX, std::ios::binary);
  if (!in) return Sidecar();
  std::string text(static_cast<size_t>(kMaxSidecarBytes) + 1, '\0');
  in.read(&text[0], kMaxSidecarBytes + 1);
  if (in.gcount() > kMaxSidecarBytes) {
    *warning = "the sidecar is larger than 1 MiB";
    return Sidecar();
  }
  text.resize(static_cast<size_t>(in.gcount()));
  return parseSidecar(text, warning);
}

}  // namespace playback
