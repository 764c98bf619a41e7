#include "imaging/coloured_cloud.h"

#include <atomic>
#include <new>
#include <system_error>
#include <thread>

#include "imaging/colour_bar.h"
#include "imaging/coloured_cloud_kernel.h"

namespace sarvik {
namespace {

std::atomic<WorkerStartFilter> g_workerStartFilter{nullptr};

using RowsKernel = void (*)(const ColouredCloudJob&, uint32_t, uint32_t);

RowsKernel rowsKernel(SimdLevel level) {
  switch (usableSimdLevel(level)) {
#if SARVIK_HAVE_X86_SIMD
    case SimdLevel::kAvx512:
      return colouredRowsAvx512;
    case SimdLevel::kAvx2:
      return colouredRowsAvx2;
#endif
    default:  // kScalar; a build without the x86 kernels knows no other level
      break;
  }
  return colouredRowsScalar;
}

ColouredCloudJob makeJob(const uint16_t* depth, uint32_t width, float scale, float fx, float fy, float cx,
                         float cy, typedefSarvikPoint3D* points, typedefSarvikRGBA* colours, uint32_t encoding) {
  ColouredCloudJob job{};
  job.depth = depth;
  job.width = width;
  switch (encoding) {
    case 1:
      job.shift = 4;
      job.cut = 4095;
      break;
    case 2:
      job.shift = 3;
      job.cut = 4000;
      break;
    default:
      job.shift = 2;
      job.cut = 16383;
      break;
  }
  job.scale = scale;
  job.fx = fx;
  job.fy = fy;
  job.cx = cx;
  job.cy = cy;
  job.points = points;
  job.colours = colours;
  job.palette = colourBar();
  return job;
}

// Returns false, with `worker` left empty, when the thread cannot be had.
bool startWorker(std::thread* worker, uint32_t index, RowsKernel kernel, const ColouredCloudJob& job,
                 uint32_t rowBegin, uint32_t rowEnd) {
  const WorkerStartFilter filter = g_workerStartFilter.load(std::memory_order_acquire);
  if (filter != nullptr && !filter(index, rowBegin, rowEnd)) return false;
  try {
    *worker = std::thread([kernel, &job, rowBegin, rowEnd] { kernel(job, rowBegin, rowEnd); });
  } catch (const std::system_error&) {
    return false;
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

}  // namespace

void colouredRowsScalar(const ColouredCloudJob& job, uint32_t rowBegin, uint32_t rowEnd) {
  for (uint32_t row = rowBegin; row < rowEnd; ++row) colouredRowTail(job, row, 0);
}

void depthRowsToCloudWith(SimdLevel level, const uint16_t* depth, uint32_t width, uint32_t rowBegin,
                          uint32_t rowEnd, float scale, float fx, float fy, float cx, float cy,
                          typedefSarvikPoint3D* points, typedefSarvikRGBA* colours, uint32_t encoding) {
  if (rowBegin >= rowEnd) return;
  ensureColourBar();
  const ColouredCloudJob job = makeJob(depth, width, scale, fx, fy, cx, cy, points, colours, encoding);
  rowsKernel(level)(job, rowBegin, rowEnd);
}

void depthRowsToCloud(const uint16_t* depth, uint32_t width, uint32_t rowBegin, uint32_t rowEnd, float scale,
                      float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                      typedefSarvikRGBA* colours, uint32_t encoding) {
  depthRowsToCloudWith(bestSimdLevel(), depth, width, rowBegin, rowEnd, scale, fx, fy, cx, cy, points, colours,
                       encoding);
}

int32_t convertDepthToColouredCloudWith(SimdLevel level, const uint16_t* depth, uint32_t width,
                                        uint32_t height, float scale, float /*fx*/, float /*fy*/, float /*cx*/,
                                        float /*cy*/, typedefSarvikPoint3D* points, typedefSarvikRGBA* colours,
                                        uint32_t encoding) {
  if (width != 0 && height != 0 && (depth == nullptr || points == nullptr || colours == nullptr)) return 0;

  // Complete before any worker exists, so no worker can see a partial table.
  ensureColourBar();

  // The caller's intrinsics never apply; the second set is exactly twice the
  // first. Values as bit patterns: 0x43D10752, 0x439EA894, 0x43486D18.
  float focal = 0x1.a20ea4p+8f;
  float cx = 0x1.3d5128p+8f;
  float cy = 0x1.90da30p+7f;
  if (width > 640) {
    focal = 0x1.a20ea4p+9f;
    cx = 0x1.3d5128p+9f;
    cy = 0x1.90da30p+8f;
  }
  const ColouredCloudJob job = makeJob(depth, width, scale, focal, focal, cx, cy, points, colours, encoding);
  const RowsKernel kernel = rowsKernel(level);
  const uint32_t half = height >> 1;

  // A worker that cannot be started costs speed, not output: its rows run
  // here, and only the workers that did start are joined.
  std::thread first;
  std::thread second;
  const bool firstStarted = startWorker(&first, 0, kernel, job, 0, half);
  const bool secondStarted = startWorker(&second, 1, kernel, job, half, height);
  if (!firstStarted) kernel(job, 0, half);
  if (!secondStarted) kernel(job, half, height);
  if (firstStarted) first.join();
  if (secondStarted) second.join();
  return 0;
}

int32_t convertDepthToColouredCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                                    float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                                    typedefSarvikRGBA* colours, uint32_t encoding) {
  return convertDepthToColouredCloudWith(bestSimdLevel(), depth, width, height, scale, fx, fy, cx, cy, points,
                                         colours, encoding);
}

void setWorkerStartFilterForTesting(WorkerStartFilter filter) {
  g_workerStartFilter.store(filter, std::memory_order_release);
}

}  // namespace sarvik
