// The picture every simulated sensor looks at: a tilted wall about two metres
// away with a ball circling in front of it once every four seconds. All
// sensors render the same moment from the frame's time stamp, so colour,
// depth and infrared images of one instant agree.
#ifndef SIMCAM_SIM_SCENE_H
#define SIMCAM_SIM_SCENE_H

#include <cstdint>

#include "sim_frame_mode.h"

namespace simcam {

class SimScene {
 public:
  // Nearest and farthest depths the scene ever shows, in millimetres.
  static constexpr double kNearestMm = 800.0;
  static constexpr double kFarthestMm = 2300.0;

  explicit SimScene(double seconds);

  // Fills buffer, which holds at least mode.frameBytes bytes, in the mode's
  // pixel format. Allocates nothing.
  void render(const SimFrameMode& mode, void* buffer) const;

  // Depth in millimetres at pixel (x, y) of a width x height image, and
  // whether the ball covers it.
  double depthMm(uint32_t x, uint32_t y, uint32_t width, uint32_t height, bool* onBall, double* facing) const;

 private:
  void renderDepth(uint16_t* out, uint32_t w, uint32_t h) const;
  void renderColor(uint8_t* out, uint32_t w, uint32_t h) const;
  void renderGray(void* out, uint32_t w, uint32_t h, bool wide, bool dots) const;

  double m_ballX;
  double m_ballY;
};

}  // namespace simcam

#endif  // SIMCAM_SIM_SCENE_H
