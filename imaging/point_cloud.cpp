#include "imaging/point_cloud.h"

#include <limits>

#include "imaging/point_cloud_kernel.h"

namespace sarvik {
namespace {

struct DepthFormat {
  float multiplier;
  float cutoff;
};

DepthFormat depthFormat(uint32_t encoding) {
  switch (encoding) {
    case 1:
      return {0.0625f, 4095.0f};
    case 2:
      return {0.125f, 8191.0f};
    default:
      return {0.25f, 16383.0f};
  }
}

void pixelOffsets(uint32_t width, int32_t* colOffset, int32_t* rowOffset) {
  switch (width) {
    case 284:
      *colOffset = 25;
      *rowOffset = 12;
      break;
    case 568:
      *colOffset = 50;
      *rowOffset = 25;
      break;
    case 1136:
      *colOffset = 100;
      *rowOffset = 50;
      break;
    default:
      *colOffset = 0;
      *rowOffset = 0;
      break;
  }
}

// Written as "0 >= value" on purpose: a NaN compares false and is kept.
bool notPositive(float value) { return 0.0f >= value; }

}  // namespace

void pointCloudScalar(const PointCloudJob& job) {
  for (uint32_t row = 0; row < job.height; ++row) pointCloudRowTail(job, row, 0);
}

int32_t convertDepthToPointCloudWith(SimdLevel level, const uint16_t* depth, uint32_t width,
                                     uint32_t height, float scale, float fx, float fy, float cx, float cy,
                                     typedefSarvikPoint3D* points, uint32_t encoding, bool clip) {
  if (width == 0 || height == 0) return 0;
  if (depth == nullptr || points == nullptr) return 0;

  // One bad value discards the good ones too: the set belongs together.
  if (notPositive(scale) || notPositive(fx) || notPositive(fy) || notPositive(cx) || notPositive(cy)) {
    scale = 1000.0f;
    fx = 425.0f;
    fy = 425.0f;
    cx = 200.0f;
    cy = 320.0f;
  }
  const DepthFormat format = depthFormat(encoding);
  PointCloudJob job{};
  job.depth = depth;
  job.width = width;
  job.height = height;
  job.multiplier = format.multiplier;
  job.cutoff = clip ? format.cutoff : std::numeric_limits<float>::infinity();
  job.scale = scale;
  job.fx = fx;
  job.fy = fy;
  job.cx = cx;
  job.cy = cy;
  pixelOffsets(width, &job.colOffset, &job.rowOffset);
  job.points = points;

  switch (usableSimdLevel(level)) {
#if SARVIK_HAVE_X86_SIMD
    case SimdLevel::kAvx512:
      pointCloudAvx512(job);
      return 0;
    case SimdLevel::kAvx2:
      pointCloudAvx2(job);
      return 0;
#endif
    default:  // kScalar; a build without the x86 kernels knows no other level
      break;
  }
  pointCloudScalar(job);
  return 0;
}

int32_t convertDepthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                                 float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                                 uint32_t encoding, bool clip) {
  return convertDepthToPointCloudWith(bestSimdLevel(), depth, width, height, scale, fx, fy, cx, cy, points,
                                      encoding, clip);
}

}  // namespace sarvik
