// Plain scalar transcriptions of the two depth conversions and the colour-bar
// build, one statement per step, for the tests and the benchmark to hold the
// module's fast paths against. Deliberately written apart from the module's
// own code: no tables, no shared helpers.
#ifndef SARVIK_TESTS_IMAGING_REFERENCE_H
#define SARVIK_TESTS_IMAGING_REFERENCE_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "sarvik/SarvikTypes.h"

namespace imaging_reference {

inline void pointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx, float fy,
                       float cx, float cy, typedefSarvikPoint3D* points, uint32_t encoding, bool clip) {
  if (0.0 >= scale || 0.0 >= fx || 0.0 >= fy || 0.0 >= cx || 0.0 >= cy) {
    scale = 1000.0f;
    fx = 425.0f;
    fy = 425.0f;
    cx = 200.0f;
    cy = 320.0f;
  }
  double multiplier = 0.25;
  double cutoff = 16383.0;
  if (encoding == 1) {
    multiplier = 0.0625;
    cutoff = 4095.0;
  } else if (encoding == 2) {
    multiplier = 0.125;
    cutoff = 8191.0;
  }
  int colOffset = 0;
  int rowOffset = 0;
  if (width == 284) {
    colOffset = 25;
    rowOffset = 12;
  } else if (width == 568) {
    colOffset = 50;
    rowOffset = 25;
  } else if (width == 1136) {
    colOffset = 100;
    rowOffset = 50;
  }
  if (height == 0) return;
  for (int row = 0; row < static_cast<int>(height); ++row) {
    for (int col = 0; col < static_cast<int>(width); ++col) {
      const int i = row * static_cast<int>(width) + col;
      const float d = static_cast<float>(static_cast<double>(depth[i]) * multiplier);
      if (clip && d >= cutoff) {
        points[i] = typedefSarvikPoint3D{0.0f, 0.0f, 0.0f};
        continue;
      }
      if (d <= 0.0) {
        points[i] = typedefSarvikPoint3D{0.0f, 0.0f, 0.0f};
        continue;
      }
      const float z = d / scale;
      const float x = (static_cast<float>(col + colOffset) - cx) * z / fx;
      const float y = (static_cast<float>(row + rowOffset) - cy) * z / fy;
      points[i] = typedefSarvikPoint3D{x, y, z};
    }
  }
}

inline std::vector<typedefSarvikRGBA> colourBar() {
  std::vector<typedefSarvikRGBA> bar(4096);
  int red = 0;
  int green = 0;
  int blue = 255;
  for (int i = 0; i < 4096; ++i) {
    const bool moves = i % 4 == 0;
    if (i < 1024 && green < 255) {
      green += moves ? 1 : 0;
    } else if (i < 2048 && blue != 0) {
      blue -= moves ? 1 : 0;
    } else if (i < 3072 && red < 255) {
      red += moves ? 1 : 0;
    } else if (green != 0) {
      green -= moves ? 1 : 0;
    }
    bar[i].r = static_cast<float>(red / 255.0);
    bar[i].g = static_cast<float>(green / 255.0);
    bar[i].b = static_cast<float>(blue / 255.0);
    bar[i].a = 1.0f;
  }
  return bar;
}

inline void colouredRows(const uint16_t* depth, uint32_t width, uint32_t rowBegin, uint32_t rowEnd, float scale,
                         float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                         typedefSarvikRGBA* colours, uint32_t encoding, const std::vector<typedefSarvikRGBA>& bar) {
  const typedefSarvikRGBA farColour{1.0f, 0.0f, 0.0f, 1.0f};
  const typedefSarvikRGBA invalidColour{0.0f, 0.0f, 0.0f, 1.0f};
  for (uint32_t row = rowBegin; row < rowEnd; ++row) {
    for (int col = 0; col < static_cast<int>(width); ++col) {
      const int i = static_cast<int>(row) * static_cast<int>(width) + col;
      unsigned d = 0;
      if (encoding == 1) {
        d = depth[i] >> 4;
        if (d >= 4095) d = 0;
      } else if (encoding == 2) {
        d = depth[i] >> 3;
        if (d >= 4000) d = 0;
      } else {
        d = depth[i] >> 2;
        if (d >= 16383) d = 0;
      }
      if (d == 0) {
        points[i] = typedefSarvikPoint3D{0.0f, 0.0f, 0.0f};
        colours[i] = invalidColour;
        continue;
      }
      const float z = static_cast<float>(d) / scale;
      const float ry = (static_cast<float>(row) - cy) * z / fy;
      const float rx = (static_cast<float>(col) - cx) * z / fx;
      points[i] = typedefSarvikPoint3D{rx, -ry, -z};
      colours[i] = d < 4095 ? bar[d] : farColour;
    }
  }
}

inline float floatFromBits(uint32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

inline void colouredCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                          typedefSarvikPoint3D* points, typedefSarvikRGBA* colours, uint32_t encoding,
                          const std::vector<typedefSarvikRGBA>& bar) {
  float focal = floatFromBits(0x43D10752);
  float cx = floatFromBits(0x439EA894);
  float cy = floatFromBits(0x43486D18);
  if (width > 640) {
    focal = floatFromBits(0x44510752);
    cx = floatFromBits(0x441EA894);
    cy = floatFromBits(0x43C86D18);
  }
  colouredRows(depth, width, 0, height, scale, focal, focal, cx, cy, points, colours, encoding, bar);
}

}  // namespace imaging_reference

#endif  // SARVIK_TESTS_IMAGING_REFERENCE_H
