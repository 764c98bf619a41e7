#include "sim_intrinsics.h"

#include <algorithm>
#include <cstring>

namespace simcam {

namespace {

// The scene (sim_scene.cpp) places things by image heights from the image
// centre. Its ball is a sphere whose front bulges kBallDepthMm = 300 mm out
// of a centre kBallCentreMm = 1100 mm away, drawn with a radius of 0.18
// image heights: a 300 mm radius at 1100 mm seen at 0.18 heights is a focal
// length of 0.18 * 1100 / 300 = 0.66 image heights, along both axes since
// the scene's units are square.
constexpr double kFocalInHeights = 0.18 * 1100.0 / 300.0;

int32_t copyOut(const void* record, uint32_t size, void* data, uint32_t* length) {
  if (length == nullptr || (data == nullptr && *length > 0)) return kSarvikErrArgument;
  if (*length > 0) std::memcpy(data, record, std::min(size, *length));
  *length = size;
  return 0;
}

}  // namespace

SarvikIntrinsics simIntrinsics(const typedefSarvikFrameMode& mode) {
  SarvikIntrinsics k;
  k.width = sarvikModeWidth(mode);
  k.height = sarvikModeHeight(mode);
  const double focal = kFocalInHeights * k.height;
  k.fx = static_cast<float>(focal);
  k.fy = static_cast<float>(focal);
  // The scene samples pixel x at x + 0.5 from the left edge, so the centre
  // it measures from falls on pixel (width - 1) / 2.
  k.cx = static_cast<float>((k.width - 1.0) * 0.5);
  k.cy = static_cast<float>((k.height - 1.0) * 0.5);
  return k;
}

SarvikDepthUnit simDepthUnit() {
  SarvikDepthUnit unit;
  unit.encoding = SARVIK_DEPTH_FRACTION_2;
  unit.metresPerUnit = 0.001f;
  return unit;
}

bool isSimOpticsProperty(uint32_t id) {
  return id == kSarvikPropertyDepthUnit ||
         (id > kSarvikPropertyIntrinsicsBase && id <= kSarvikPropertyIntrinsicsBase + SARVIK_STREAM_LIGHT_IR);
}

int32_t simOpticsProperty(uint32_t id, const typedefSarvikFrameMode* mode, void* data, uint32_t* length) {
  if (id == kSarvikPropertyDepthUnit) {
    const SarvikDepthUnit unit = simDepthUnit();
    return copyOut(&unit, sizeof unit, data, length);
  }
  if (mode == nullptr) {
    if (length != nullptr) *length = 0;
    return kSarvikErrNotFound;
  }
  const SarvikIntrinsics k = simIntrinsics(*mode);
  return copyOut(&k, sizeof k, data, length);
}

}  // namespace simcam
