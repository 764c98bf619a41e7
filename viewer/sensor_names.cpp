#include "sensor_names.h"

#include <cstring>

#include "sarvik/SarvikTypes.h"

namespace sarvik_viewer {

const uint32_t kSensorTypes[4] = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR, SARVIK_STREAM_LIGHT_IR};

const char* sensorName(uint32_t type) {
  switch (type) {
    case SARVIK_STREAM_COLOR: return "color";
    case SARVIK_STREAM_DEPTH: return "depth";
    case SARVIK_STREAM_IR: return "ir";
    case SARVIK_STREAM_LIGHT_IR: return "lightir";
    default: return nullptr;
  }
}

uint32_t sensorType(const std::string& name) {
  for (uint32_t type : kSensorTypes) {
    if (name == sensorName(type)) return type;
  }
  return 0;
}

}  // namespace sarvik_viewer
