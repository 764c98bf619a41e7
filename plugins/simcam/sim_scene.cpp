#include "sim_scene.h"

#include <cmath>

namespace simcam {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kLoopSeconds = 4.0;
constexpr double kBallRadius = 0.18;  // in image heights
constexpr double kBallCentreMm = 1100.0;
constexpr double kBallDepthMm = 300.0;

uint8_t clampByte(double v) {
  if (v <= 0.0) return 0;
  if (v >= 255.0) return 255;
  return static_cast<uint8_t>(v + 0.5);
}

// A fixed pseudo-random dot grid, as a structured-light projector would throw.
bool isDot(uint32_t x, uint32_t y) {
  uint32_t hash = (x * 73856093u) ^ (y * 19349663u);
  return ((hash >> 7) % 17u) == 0;
}

}  // namespace

SimScene::SimScene(double seconds) {
  double phase = 2.0 * kPi * std::fmod(seconds, kLoopSeconds) / kLoopSeconds;
  m_ballX = 0.35 * std::cos(phase);
  m_ballY = 0.2 * std::sin(phase);
}

double SimScene::depthMm(uint32_t x, uint32_t y, uint32_t width, uint32_t height, bool* onBall,
                         double* facing) const {
  // Coordinates in image heights from the centre keep the geometry the same
  // at every resolution.
  double xn = (x + 0.5 - width * 0.5) / height;
  double yn = (y + 0.5 - height * 0.5) / height;
  double dx = xn - m_ballX, dy = yn - m_ballY;
  double d2 = (dx * dx + dy * dy) / (kBallRadius * kBallRadius);
  if (d2 < 1.0) {
    double dz = std::sqrt(1.0 - d2);
    *onBall = true;
    *facing = dz;
    return kBallCentreMm - kBallDepthMm * dz;
  }
  *onBall = false;
  *facing = 1.0;
  return 2000.0 + 300.0 * xn + 200.0 * yn;
}

void SimScene::render(const SimFrameMode& mode, void* buffer) const {
  uint32_t w = simModeWidth(mode.mode), h = simModeHeight(mode.mode);
  switch (simModeFormat(mode.mode)) {
    case kSimPixelRgb24: renderColor(static_cast<uint8_t*>(buffer), w, h); break;
    case kSimPixelDepth16: renderDepth(static_cast<uint16_t*>(buffer), w, h); break;
    case kSimPixelGray16: renderGray(buffer, w, h, true, mode.sensorType == SARVIK_STREAM_LIGHT_IR); break;
    default: renderGray(buffer, w, h, false, mode.sensorType == SARVIK_STREAM_LIGHT_IR); break;
  }
}

void SimScene::renderDepth(uint16_t* out, uint32_t w, uint32_t h) const {
  bool ball;
  double facing;
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      // Two fractional bits: the sample is millimetres times four.
      *out++ = static_cast<uint16_t>(depthMm(x, y, w, h, &ball, &facing) * 4.0 + 0.5);
    }
  }
}

void SimScene::renderColor(uint8_t* out, uint32_t w, uint32_t h) const {
  bool ball;
  double facing;
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      double mm = depthMm(x, y, w, h, &ball, &facing);
      if (ball) {
        double shade = 0.3 + 0.7 * facing;
        out[0] = clampByte(255.0 * shade);
        out[1] = clampByte(140.0 * shade);
        out[2] = clampByte(40.0 * shade);
      } else {
        int cx = static_cast<int>(std::floor((x + 0.5 - w * 0.5) / h * 8.0));
        int cy = static_cast<int>(std::floor((y + 0.5 - h * 0.5) / h * 8.0));
        double shade = 2000.0 / mm;
        bool light = ((cx + cy) & 1) == 0;
        out[0] = clampByte((light ? 200.0 : 60.0) * shade);
        out[1] = clampByte((light ? 200.0 : 90.0) * shade);
        out[2] = clampByte((light ? 200.0 : 160.0) * shade);
      }
      out += 3;
    }
  }
}

void SimScene::renderGray(void* out, uint32_t w, uint32_t h, bool wide, bool dots) const {
  uint8_t* narrow = static_cast<uint8_t*>(out);
  uint16_t* broad = static_cast<uint16_t*>(out);
  bool ball;
  double facing;
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      double mm = depthMm(x, y, w, h, &ball, &facing);
      // Reflected light falls with the square of the distance.
      double ratio = 1500.0 / mm;
      uint8_t v = clampByte(ball ? 60.0 + 195.0 * facing * ratio * ratio : 140.0 * ratio * ratio);
      if (dots && isDot(x, y)) v = 255;
      if (wide) {
        *broad++ = static_cast<uint16_t>(v * 257u);
      } else {
        *narrow++ = v;
      }
    }
  }
}

}  // namespace simcam
