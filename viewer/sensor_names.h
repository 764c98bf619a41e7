// The names the API and the page use for sensors: "color", "depth", "ir",
// "lightir".
#ifndef SARVIK_VIEWER_SENSOR_NAMES_H
#define SARVIK_VIEWER_SENSOR_NAMES_H

#include <cstdint>
#include <string>

namespace sarvik_viewer {

extern const uint32_t kSensorTypes[4];
// Null for a type that is not a sensor.
const char* sensorName(uint32_t type);
// 0 for a name that is not a sensor's.
uint32_t sensorType(const std::string& name);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_SENSOR_NAMES_H
