#include <cstdio>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sarvik/SarvikCamera.h"
#include "tools/camera_facts.h"
#include "tools/commands.h"
#include "tools/mode_choice.h"
#include "tools/open_camera.h"
#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

constexpr uint32_t kSensorTypes[] = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR,
                                     SARVIK_STREAM_LIGHT_IR};

// Everything `info` shows, gathered once and then printed as text or JSON.
nlohmann::json describeCamera(SarvikBaseContext* context, Device* device, const std::string& address) {
  nlohmann::json camera;
  camera["address"] = address;
  SarvikDeviceInfoBlock block;
  if (readDeviceInfo(context, device, &block)) {
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04x:%04x", block.vendorId, block.productId);
    camera["serial"] = fieldText(block.serialNumber, sizeof block.serialNumber);
    camera["firmware"] = fieldText(block.firmwareVersion, sizeof block.firmwareVersion);
    camera["hardware"] = fieldText(block.hardwareId, sizeof block.hardwareId);
    camera["usb_id"] = ids;
  }
  nlohmann::json sensors = nlohmann::json::array();
  for (uint32_t type : kSensorTypes) {
    int32_t status = 0;
    const std::vector<SarvikModeRecord> modes = listModes(context, device, type, &status);
    if (modes.empty()) continue;
    const typedefSarvikFrameMode* current = context->getCurrentFrameMode(device, type);
    nlohmann::json sensor;
    sensor["type"] = streamTypeName(type);
    nlohmann::json list = nlohmann::json::array();
    for (size_t i = 0; i < modes.size(); ++i) {
      const typedefSarvikFrameMode& m = modes[i].mode;
      const char* format = sarvikPixelName(sarvikModeFormat(m));
      list.push_back({{"index", i},
                      {"width", sarvikModeWidth(m)},
                      {"height", sarvikModeHeight(m)},
                      {"fps", sarvikModeFps(m)},
                      {"format", format != nullptr ? format : "unknown"},
                      {"current", current != nullptr && sarvikModeEquals(*current, m)}});
    }
    sensor["modes"] = list;
    SarvikIntrinsics k;
    if (readIntrinsics(context, device, type, &k)) {
      // Copies, not references: the record is packed.
      sensor["intrinsics"] = {{"width", static_cast<uint32_t>(k.width)}, {"height", static_cast<uint32_t>(k.height)},
                              {"fx", static_cast<float>(k.fx)},          {"fy", static_cast<float>(k.fy)},
                              {"cx", static_cast<float>(k.cx)},          {"cy", static_cast<float>(k.cy)}};
    }
    sensors.push_back(sensor);
  }
  camera["sensors"] = sensors;
  SarvikDepthUnit unit;
  if (readDepthUnit(context, device, &unit)) {
    camera["depth_unit"] = {{"encoding", static_cast<uint32_t>(unit.encoding)},
                            {"encoding_name", depthEncodingName(unit.encoding)},
                            {"metres_per_unit", static_cast<float>(unit.metresPerUnit)}};
  }
  return camera;
}

void printText(const nlohmann::json& camera) {
  std::printf("%s\n", camera["address"].get<std::string>().c_str());
  if (camera.contains("serial")) {
    std::printf("  serial %s, firmware %s, hardware %s, id %s\n", camera["serial"].get<std::string>().c_str(),
                camera["firmware"].get<std::string>().c_str(), camera["hardware"].get<std::string>().c_str(),
                camera["usb_id"].get<std::string>().c_str());
  }
  for (const auto& sensor : camera["sensors"]) {
    const size_t count = sensor["modes"].size();
    std::printf("%s: %zu mode%s\n", sensor["type"].get<std::string>().c_str(), count, count == 1 ? "" : "s");
    for (const auto& m : sensor["modes"]) {
      std::printf("  %c %2d: %dx%d@%d %s\n", m["current"].get<bool>() ? '*' : ' ', m["index"].get<int>(),
                  m["width"].get<int>(), m["height"].get<int>(), m["fps"].get<int>(),
                  m["format"].get<std::string>().c_str());
    }
    if (sensor.contains("intrinsics")) {
      const auto& k = sensor["intrinsics"];
      std::printf("  intrinsics at %dx%d: fx %.3f fy %.3f cx %.3f cy %.3f\n", k["width"].get<int>(),
                  k["height"].get<int>(), k["fx"].get<double>(), k["fy"].get<double>(), k["cx"].get<double>(),
                  k["cy"].get<double>());
    }
  }
  if (camera.contains("depth_unit")) {
    const auto& unit = camera["depth_unit"];
    std::printf("depth unit: %s, %g m per unit\n", unit["encoding_name"].get<std::string>().c_str(),
                unit["metres_per_unit"].get<double>());
  }
}

}  // namespace

int runInfo(const CommandLine& line) {
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  int exitCode = 0;
  {
    OpenCamera camera(sdk.context());
    if (camera.open(line.camera) != 0) {
      exitCode = 1;
    } else {
      const nlohmann::json facts = describeCamera(sdk.context(), camera.device(), camera.address());
      if (line.json) {
        std::printf("%s\n", facts.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
      } else {
        printText(facts);
      }
      if (camera.close() != 0) exitCode = 1;
    }
  }
  return finishSession(&sdk, exitCode);
}

}  // namespace tools
}  // namespace sarvik
