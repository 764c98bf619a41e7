// Depth image to point cloud plus one colour per pixel, split over two
// short-lived worker threads.
//
// Unlike convertDepthToPointCloud: depth is decoded by an integer shift, the
// caller's intrinsics are replaced by a fixed pair of sets chosen by width,
// there are no pixel offsets, and y and z come out negated. The colour is the
// colour-bar entry of the decoded depth. The vector paths produce the same
// bits as the scalar one.
#ifndef SARVIK_IMAGING_COLOURED_CLOUD_H
#define SARVIK_IMAGING_COLOURED_CLOUD_H

#include <cstdint>

#include "imaging/simd_level.h"
#include "sarvik/SarvikTypes.h"

namespace sarvik {

// Converts the whole image; always returns 0. Builds the colour bar first if
// this process has not yet. Rows [0, height / 2) go to one worker, the rest
// to another; both are joined, the first first, before the return. A worker
// that cannot be started has its rows converted on the calling thread, so
// the output is complete in any case. `scale` is used as given, 0.0 too;
// fx, fy, cx and cy are ignored.
// A null `depth`, `points` or `colours` with a non-empty image writes nothing.
// REQUIRES: the three buffers hold width x height elements each.
// Thread-safe for distinct output buffers.
int32_t convertDepthToColouredCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                                    float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                                    typedefSarvikRGBA* colours, uint32_t encoding);

int32_t convertDepthToColouredCloudWith(SimdLevel level, const uint16_t* depth, uint32_t width,
                                        uint32_t height, float scale, float fx, float fy, float cx, float cy,
                                        typedefSarvikPoint3D* points, typedefSarvikRGBA* colours,
                                        uint32_t encoding);

// Converts rows [rowBegin, rowEnd) with the given intrinsics, as they are
// (nothing substituted); does nothing when rowBegin >= rowEnd. Rows are
// addressed from the start of the full buffers, so that disjoint row ranges
// write disjoint outputs and may run at once.
void depthRowsToCloud(const uint16_t* depth, uint32_t width, uint32_t rowBegin, uint32_t rowEnd, float scale,
                      float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                      typedefSarvikRGBA* colours, uint32_t encoding);

void depthRowsToCloudWith(SimdLevel level, const uint16_t* depth, uint32_t width, uint32_t rowBegin,
                          uint32_t rowEnd, float scale, float fx, float fy, float cx, float cy,
                          typedefSarvikPoint3D* points, typedefSarvikRGBA* colours, uint32_t encoding);

// Test seam: when set, it is asked before worker 0 (the upper rows) and
// worker 1 (the lower rows) start, with the rows [rowBegin, rowEnd) that the
// worker is given; false makes the start fail. Null restores normal starting.
// Not to be changed while a conversion runs.
using WorkerStartFilter = bool (*)(uint32_t worker, uint32_t rowBegin, uint32_t rowEnd);
void setWorkerStartFilterForTesting(WorkerStartFilter filter);

}  // namespace sarvik

#endif  // SARVIK_IMAGING_COLOURED_CLOUD_H
