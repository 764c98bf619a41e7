// Settings of the simulated cameras, read from a plain "key = value" file
// beside the plug-in (README.md lists the keys). Without a file every value
// keeps its default: one camera on each transport with the default modes.
#ifndef SIMCAM_SIM_CONFIG_H
#define SIMCAM_SIM_CONFIG_H

#include <cstdint>
#include <string>
#include <vector>

#include "sim_frame_mode.h"
#include "sim_protocol.h"

namespace simcam {

struct SimCameraSettings {
  std::string serial;
  std::string location;
  bool present = true;  // false: the camera starts unplugged
};

struct SimHotplugStep {
  double atSeconds = 0.0;  // after the plug-in's initialize
  bool plug = false;       // false: unplug
  std::string uri;
};

class SimConfig {
 public:
  static constexpr const char* kFileName = "simcam.conf";
  static constexpr const char* kDefaultControlFile = "simcam.ctl";

  SimConfig();

  // Applies every line it understands and records one error for each line it
  // refuses; a refused line changes nothing. Returns true when none was refused.
  bool parse(const std::string& text);
  // A missing file is no error: the defaults stand. An unreadable one is.
  bool loadFile(const std::string& path);
  const std::vector<std::string>& errors() const { return m_errors; }

  uint32_t cameraCount(SimTransport transport) const;
  // The settings of one camera, defaults filled in.
  SimCameraSettings camera(SimTransport transport, uint32_t index) const;
  // Empty: the camera has no such sensor.
  const std::vector<SimFrameMode>& modes(SimTransport transport, uint32_t sensorType) const;
  const std::vector<SimHotplugStep>& hotplug() const { return m_hotplug; }
  bool flatOut() const { return m_flatOut; }
  bool renderPixels() const { return m_renderPixels; }
  // Relative to the plug-in's folder unless absolute; empty when disabled.
  const std::string& controlFile() const { return m_controlFile; }

  // "640x480@30" or "640x480@30:y16", comma separated; an empty text is an
  // empty list. False, with *error set, for any malformed entry.
  static bool parseModeList(const std::string& text, uint32_t sensorType, std::vector<SimFrameMode>* out,
                            std::string* error);
  static SimFrameMode makeMode(uint32_t sensorType, uint16_t width, uint16_t height, int8_t fps,
                               SimPixelFormat format, uint16_t index);

  static std::string uriOf(SimTransport transport, uint32_t index);
  static std::string nodePathOf(uint32_t index);
  static std::string defaultSerial(SimTransport transport, uint32_t index);
  static std::string defaultLocation(SimTransport transport, uint32_t index);

  static const uint32_t kSensorTypes[4];

 private:
  struct TransportSettings {
    uint32_t cameras = 1;
    std::vector<SimCameraSettings> perCamera;  // sparse: empty fields take defaults
    bool hasModes[4] = {false, false, false, false};
    std::vector<SimFrameMode> modes[4];
  };

  bool applyLine(const std::string& key, const std::string& value, std::string* error);
  bool applyTransportKey(TransportSettings& t, const std::string& rest, const std::string& value,
                         std::string* error);
  bool applyHotplug(const std::string& value, std::string* error);
  TransportSettings& settingsOf(SimTransport transport);
  const TransportSettings& settingsOf(SimTransport transport) const;

  TransportSettings m_usb;
  TransportSettings m_net;
  std::vector<SimFrameMode> m_commonModes[4];
  std::vector<SimHotplugStep> m_hotplug;
  bool m_flatOut = false;
  bool m_renderPixels = true;
  std::string m_controlFile;
  std::vector<std::string> m_errors;
};

// Index 0..3 of a stream type in the fixed sensor order, or -1.
int sensorSlot(uint32_t sensorType);

}  // namespace simcam

#endif  // SIMCAM_SIM_CONFIG_H
