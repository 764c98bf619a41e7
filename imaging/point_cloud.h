// Depth image to point cloud, on the calling thread.
//
// Each output point is the step-by-step single-precision result of the pinhole
// back-projection: d = sample x multiplier, z = d / scale,
// x = (((float)(col + colOffset) - cx) * z) / fx, y likewise with the row,
// one rounding per step. The vector paths produce the same bits as the scalar
// one; only the speed differs.
//
// What one decoded depth unit stands for (millimetres, tenths, ...) is the
// caller's business: `scale` carries it, and the output is in decoded units
// divided by `scale`.
#ifndef SARVIK_IMAGING_POINT_CLOUD_H
#define SARVIK_IMAGING_POINT_CLOUD_H

#include <cstdint>

#include "imaging/simd_level.h"
#include "sarvik/SarvikTypes.h"

namespace sarvik {

// Converts `width` x `height` samples into as many points. Always returns 0.
// Intrinsics of which any is at or below 0.0 (NaN is not) are replaced as a
// set by the fall-back set. `encoding` 1 and 2 select 4 and 3 fractional
// bits, anything else 2; `clip` drops samples at or above the format's
// cut-off. Widths 284, 568 and 1136 shift the pixel coordinates.
// A null `depth` or `points` with a non-empty image writes nothing.
// REQUIRES: `depth` holds width x height samples and `points` as many records.
// Thread-safe: no shared state; distinct buffers may be converted at once.
int32_t convertDepthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                                 float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                                 uint32_t encoding, bool clip);

// The same with the instruction set chosen by the caller (lowered to what
// the CPU runs); lets tests and benchmarks compare the paths.
int32_t convertDepthToPointCloudWith(SimdLevel level, const uint16_t* depth, uint32_t width,
                                     uint32_t height, float scale, float fx, float fy, float cx, float cy,
                                     typedefSarvikPoint3D* points, uint32_t encoding, bool clip);

}  // namespace sarvik

#endif  // SARVIK_IMAGING_POINT_CLOUD_H
