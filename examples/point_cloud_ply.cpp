// point_cloud_ply: one depth frame turned into a point cloud in metres and
// written as an ASCII PLY file that Open3D, MeshLab or CloudCompare read.
//
//   point_cloud_ply [OUT.ply [CAMERA]]     OUT default: cloud.ply here
#include <cmath>
#include <cstdio>
#include <vector>

#include "example_context.h"
#include "sarvik/SarvikCamera.h"

namespace {

// The camera's pinhole for the depth sensor; a camera that cannot tell gets a
// nominal 70 degrees across, centred, rather than the module's built-in set,
// which belongs to one particular sensor.
SarvikIntrinsics depthIntrinsics(SarvikBaseContext* sdk, sarvik::Device* device, const typedefSarvikFrame& frame) {
  SarvikIntrinsics k{};
  uint32_t length = sizeof k;
  if (sdk->getDeviceProperty(device, kSarvikPropertyIntrinsicsBase + SARVIK_STREAM_DEPTH, &k, &length) == 0 &&
      length == sizeof k && k.width == frame.width && k.height == frame.height && k.fx > 0.0f && k.fy > 0.0f) {
    return k;
  }
  k.width = frame.width;
  k.height = frame.height;
  k.fx = k.fy = static_cast<float>(frame.width / 2.0 / std::tan(35.0 * 3.14159265358979 / 180.0));
  k.cx = frame.width / 2.0f;
  k.cy = frame.height / 2.0f;
  return k;
}

// Samples are fixed point; the unit tells how many fraction bits and what a
// whole unit is. Without it: 2 fraction bits of millimetres.
SarvikDepthUnit depthUnit(SarvikBaseContext* sdk, sarvik::Device* device) {
  SarvikDepthUnit unit{};
  uint32_t length = sizeof unit;
  if (sdk->getDeviceProperty(device, kSarvikPropertyDepthUnit, &unit, &length) == 0 && length == sizeof unit &&
      unit.metresPerUnit > 0.0f) {
    return unit;
  }
  return SarvikDepthUnit{SARVIK_DEPTH_FRACTION_2, 0.001f};
}

bool writePly(const char* path, const std::vector<typedefSarvikPoint3D>& points) {
  size_t kept = 0;
  for (const auto& p : points) kept += p.z != 0.0f;  // (0,0,0) marks a pixel without depth
  FILE* file = std::fopen(path, "w");
  if (file == nullptr) {
    std::perror(path);
    return false;
  }
  std::fprintf(file, "ply\nformat ascii 1.0\nelement vertex %zu\n", kept);
  std::fprintf(file, "property float x\nproperty float y\nproperty float z\nend_header\n");
  for (const auto& p : points) {
    if (p.z != 0.0f) std::fprintf(file, "%.4f %.4f %.4f\n", p.x, p.y, p.z);
  }
  const bool written = std::fflush(file) == 0 && std::ferror(file) == 0;
  if (std::fclose(file) != 0 || !written) {
    std::fprintf(stderr, "%s: write failed\n", path);
    return false;
  }
  std::printf("%s: %zu points\n", path, kept);
  return kept > 0;
}

}  // namespace

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "cloud.ply";
  ExampleContext context;
  if (!context.start() || !context.openCamera(argc > 2 ? argv[2] : "")) return 1;
  SarvikBaseContext* sdk = context.sdk();

  sarvik::VideoStream* stream = nullptr;
  typedefSarvikFrame* frame = nullptr;
  if (!check("openStream(depth)", sdk->openStream(context.device(), SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr)) ||
      !check("readFrame", sdk->readFrame(stream, &frame, 10000))) {
    return 1;
  }
  if (frame->dataSize < uint64_t{frame->width} * frame->height * 2) {
    std::fprintf(stderr, "depth frame of %u bytes is short for %ux%u\n", frame->dataSize, frame->width, frame->height);
    sdk->releaseFrame(frame);
    return 1;
  }
  const SarvikIntrinsics k = depthIntrinsics(sdk, context.device(), *frame);
  const SarvikDepthUnit unit = depthUnit(sdk, context.device());
  std::vector<typedefSarvikPoint3D> points(uint64_t{frame->width} * frame->height);
  // scale divides the decoded depth: 1 / metresPerUnit gives metres.
  sdk->depthToPointCloud(static_cast<const uint16_t*>(frame->data), frame->width, frame->height,
                         1.0f / unit.metresPerUnit, k.fx, k.fy, k.cx, k.cy, points.data(), unit.encoding, true);
  sdk->releaseFrame(frame);
  return writePly(path, points) ? 0 : 1;
}
