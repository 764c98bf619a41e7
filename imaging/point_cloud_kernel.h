// Internal to the point-cloud conversion: the per-call settings shared by
// its scalar and vector kernels.
#ifndef SARVIK_IMAGING_POINT_CLOUD_KERNEL_H
#define SARVIK_IMAGING_POINT_CLOUD_KERNEL_H

#include <cstddef>
#include <cstdint>

#include "sarvik/SarvikTypes.h"

namespace sarvik {

struct PointCloudJob {
  const uint16_t* depth;
  uint32_t width;
  uint32_t height;
  float multiplier;  // a power of two, so sample x multiplier is exact
  float cutoff;      // +infinity when nothing is clipped
  float scale;
  float fx;
  float fy;
  float cx;
  float cy;
  int32_t colOffset;
  int32_t rowOffset;
  typedefSarvikPoint3D* points;
};

// `colTerm` is (float)(col + colOffset) - cx and `rowTerm` the same for the
// row: both are rounded once before they meet z, as in the vector kernels.
inline void pointFromSample(const PointCloudJob& job, uint16_t sample, float colTerm, float rowTerm,
                            typedefSarvikPoint3D* out) {
  const float d = static_cast<float>(sample) * job.multiplier;
  if (d >= job.cutoff || d <= 0.0f) {
    *out = typedefSarvikPoint3D{0.0f, 0.0f, 0.0f};
    return;
  }
  const float z = d / job.scale;
  const float x = (colTerm * z) / job.fx;
  const float y = (rowTerm * z) / job.fy;
  *out = typedefSarvikPoint3D{x, y, z};
}

inline float pointColTerm(const PointCloudJob& job, uint32_t col) {
  return static_cast<float>(static_cast<int32_t>(col) + job.colOffset) - job.cx;
}

inline float pointRowTerm(const PointCloudJob& job, uint32_t row) {
  return static_cast<float>(static_cast<int32_t>(row) + job.rowOffset) - job.cy;
}

// Converts columns [colBegin, width) of one row; the vector kernels use it
// for the columns that do not fill a register.
inline void pointCloudRowTail(const PointCloudJob& job, uint32_t row, uint32_t colBegin) {
  const size_t base = static_cast<size_t>(row) * job.width;
  const float rowTerm = pointRowTerm(job, row);
  for (uint32_t col = colBegin; col < job.width; ++col) {
    pointFromSample(job, job.depth[base + col], pointColTerm(job, col), rowTerm, &job.points[base + col]);
  }
}

void pointCloudScalar(const PointCloudJob& job);
void pointCloudAvx2(const PointCloudJob& job);
void pointCloudAvx512(const PointCloudJob& job);

}  // namespace sarvik

#endif  // SARVIK_IMAGING_POINT_CLOUD_KERNEL_H
