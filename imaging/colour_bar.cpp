#include "imaging/colour_bar.h"

#include <mutex>

namespace sarvik {
namespace {

typedefSarvikRGBA g_colourBar[kColourBarSize + 2];
std::once_flag g_colourBarOnce;

float byteToUnit(uint8_t value) { return static_cast<float>(value / 255.0); }

}  // namespace

void buildColourBar() {
  uint8_t red = 0;
  uint8_t green = 0;
  uint8_t blue = 255;
  for (uint32_t i = 0; i < kColourBarSize; ++i) {
    // The first rule that holds owns entry i even when i is no multiple of
    // 4 and nothing moves. Each phase ends after 255 steps (1020 entries),
    // so the next one starts 4 entries before its 1024 boundary.
    const bool step = i % 4 == 0;
    if (i < 1024 && green < 255) {
      if (step) ++green;
    } else if (i < 2048 && blue != 0) {
      if (step) --blue;
    } else if (i < 3072 && red < 255) {
      if (step) ++red;
    } else if (green != 0) {
      if (step) --green;
    }
    g_colourBar[i] = typedefSarvikRGBA{byteToUnit(red), byteToUnit(green), byteToUnit(blue), 1.0f};
  }
  g_colourBar[kFarColourIndex] = typedefSarvikRGBA{1.0f, 0.0f, 0.0f, 1.0f};
  g_colourBar[kInvalidColourIndex] = typedefSarvikRGBA{0.0f, 0.0f, 0.0f, 1.0f};
}

// Once per process rather than once per Context: two first calls on one
// Context may race past its flag, and a rebuild under running workers would
// have them read a table that is being written.
void ensureColourBar() { std::call_once(g_colourBarOnce, buildColourBar); }

const typedefSarvikRGBA* colourBar() { return g_colourBar; }

}  // namespace sarvik
