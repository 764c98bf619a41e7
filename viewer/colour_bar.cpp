#include "colour_bar.h"

#include <cmath>

#include "sarvik/SarvikCamera.h"

namespace sarvik_viewer {

std::vector<uint8_t> moduleColourBar(SarvikBaseContext* context) {
  // One row holding every decoded depth once, through the module's coloured
  // cloud: the colours it gives are the colour bar itself. Entry 0 (no
  // depth) and 4095 and above come out in the module's colours for those.
  std::vector<uint16_t> ramp(kColourBarEntries);
  for (uint32_t d = 0; d < kColourBarEntries; ++d) ramp[d] = static_cast<uint16_t>(d << 2);
  std::vector<typedefSarvikPoint3D> points(kColourBarEntries);
  std::vector<typedefSarvikRGBA> colours(kColourBarEntries);
  context->depthToColouredCloud(ramp.data(), kColourBarEntries, 1, 1000.0f, 0, 0, 0, 0, points.data(), colours.data(),
                                SARVIK_DEPTH_FRACTION_2);
  std::vector<uint8_t> bar(kColourBarEntries * 3);
  auto toByte = [](float v) {
    const float clamped = !(v >= 0.0f) ? 0.0f : (v > 1.0f ? 1.0f : v);  // NaN too
    return static_cast<uint8_t>(std::lround(clamped * 255.0f));
  };
  for (uint32_t d = 0; d < kColourBarEntries; ++d) {
    bar[d * 3] = toByte(colours[d].r);
    bar[d * 3 + 1] = toByte(colours[d].g);
    bar[d * 3 + 2] = toByte(colours[d].b);
  }
  return bar;
}

}  // namespace sarvik_viewer
