// Internal to the coloured conversion: the settings shared by its scalar and
// vector kernels.
#ifndef SARVIK_IMAGING_COLOURED_CLOUD_KERNEL_H
#define SARVIK_IMAGING_COLOURED_CLOUD_KERNEL_H

#include <cstddef>
#include <cstdint>

#include "imaging/colour_bar.h"
#include "sarvik/SarvikTypes.h"

namespace sarvik {

struct ColouredCloudJob {
  const uint16_t* depth;
  uint32_t width;
  uint32_t shift;  // sample >> shift is the decoded depth d
  uint32_t cut;    // d is valid when 0 < d < cut
  float scale;
  float fx;
  float fy;
  float cx;
  float cy;
  typedefSarvikPoint3D* points;
  typedefSarvikRGBA* colours;
  const typedefSarvikRGBA* palette;  // colourBar(): the bar and the two fixed colours
};

// Depths from here on are beyond the bar and take the far colour.
constexpr uint32_t kFarDepth = 4095;

inline uint32_t colourIndexOf(uint32_t d) { return d < kFarDepth ? d : kFarColourIndex; }

inline void colouredFromSample(const ColouredCloudJob& job, uint16_t sample, float colTerm, float rowTerm,
                               typedefSarvikPoint3D* point, typedefSarvikRGBA* colour) {
  const uint32_t d = static_cast<uint32_t>(sample) >> job.shift;
  if (d == 0 || d >= job.cut) {
    *point = typedefSarvikPoint3D{0.0f, 0.0f, 0.0f};
    *colour = job.palette[kInvalidColourIndex];
    return;
  }
  const float z = static_cast<float>(d) / job.scale;
  const float ry = (rowTerm * z) / job.fy;
  const float rx = (colTerm * z) / job.fx;
  *point = typedefSarvikPoint3D{rx, -ry, -z};
  *colour = job.palette[colourIndexOf(d)];
}

inline float colouredColTerm(const ColouredCloudJob& job, uint32_t col) {
  return static_cast<float>(static_cast<int32_t>(col)) - job.cx;
}

inline float colouredRowTerm(const ColouredCloudJob& job, uint32_t row) {
  return static_cast<float>(static_cast<int32_t>(row)) - job.cy;
}

// Columns [colBegin, width) of one row.
inline void colouredRowTail(const ColouredCloudJob& job, uint32_t row, uint32_t colBegin) {
  const size_t base = static_cast<size_t>(row) * job.width;
  const float rowTerm = colouredRowTerm(job, row);
  for (uint32_t col = colBegin; col < job.width; ++col) {
    colouredFromSample(job, job.depth[base + col], colouredColTerm(job, col), rowTerm, &job.points[base + col],
                       &job.colours[base + col]);
  }
}

void colouredRowsScalar(const ColouredCloudJob& job, uint32_t rowBegin, uint32_t rowEnd);
void colouredRowsAvx2(const ColouredCloudJob& job, uint32_t rowBegin, uint32_t rowEnd);
void colouredRowsAvx512(const ColouredCloudJob& job, uint32_t rowBegin, uint32_t rowEnd);

}  // namespace sarvik

#endif  // SARVIK_IMAGING_COLOURED_CLOUD_KERNEL_H
