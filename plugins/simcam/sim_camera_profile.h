// Everything fixed about one simulated camera, as the configuration made it.
#ifndef SIMCAM_SIM_CAMERA_PROFILE_H
#define SIMCAM_SIM_CAMERA_PROFILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "sim_frame_mode.h"
#include "sim_protocol.h"

namespace simcam {

struct SimCameraProfile {
  SimTransport transport = kSimTransportUsb;
  uint32_t index = 0;
  std::string uri;       // "usb://sim/0"
  std::string nodePath;  // "/dev/video0"; USB cameras only
  std::string serial;
  std::string location;
  std::vector<SimFrameMode> modes[4];  // color, depth, ir, light ir; empty: no such sensor
  bool flatOut = false;
  bool renderPixels = true;
};

}  // namespace simcam

#endif  // SIMCAM_SIM_CAMERA_PROFILE_H
