#include "tools/depth_cloud.h"

#include <cmath>
#include <cstdio>
#include <sstream>
#include <vector>

#include "tools/output_file.h"
#include "tools/ply_writer.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

namespace {
constexpr float kFallbackFocalAt640 = 425.0f;
}  // namespace

CloudSetup resolveCloud(const CloudOptions& options, const SarvikIntrinsics* intrinsics, const SarvikDepthUnit* unit,
                        uint32_t width, uint32_t height) {
  CloudSetup setup;
  setup.clip = options.clip;
  if (intrinsics != nullptr && intrinsics->width != 0 && intrinsics->height != 0) {
    const float sx = static_cast<float>(width) / static_cast<float>(intrinsics->width);
    const float sy = static_cast<float>(height) / static_cast<float>(intrinsics->height);
    setup.fx = intrinsics->fx * sx;
    setup.fy = intrinsics->fy * sy;
    // Pixel centres sit at whole numbers: scale about the first one's edge.
    setup.cx = (intrinsics->cx + 0.5f) * sx - 0.5f;
    setup.cy = (intrinsics->cy + 0.5f) * sy - 0.5f;
  } else {
    setup.guessedIntrinsics = std::isnan(options.fx) || std::isnan(options.fy) || std::isnan(options.cx) ||
                              std::isnan(options.cy);
    setup.fx = setup.fy = kFallbackFocalAt640 * static_cast<float>(width) / 640.0f;
    setup.cx = (static_cast<float>(width) - 1.0f) * 0.5f;
    setup.cy = (static_cast<float>(height) - 1.0f) * 0.5f;
  }
  if (unit != nullptr) {
    setup.encoding = unit->encoding;
    setup.scale = 1.0f / unit->metresPerUnit;
  }
  if (!std::isnan(options.fx)) setup.fx = options.fx;
  if (!std::isnan(options.fy)) setup.fy = options.fy;
  if (!std::isnan(options.cx)) setup.cx = options.cx;
  if (!std::isnan(options.cy)) setup.cy = options.cy;
  if (!std::isnan(options.scale)) setup.scale = options.scale;
  if (options.encoding >= 0) setup.encoding = static_cast<uint32_t>(options.encoding);
  return setup;
}

int writeDepthCloud(SarvikBaseContext* context, const uint16_t* depth, uint32_t width, uint32_t height,
                    const CloudSetup& setup, bool colour, const std::string& path, bool force) {
  std::string error;
  // Before the work: a refused target should not cost a conversion.
  if (!checkOutputPath(path, force, &error)) return reportError(error);
  if (setup.guessedIntrinsics) {
    std::fprintf(stderr,
                 "sarvik: no intrinsics known; using fx %.1f fy %.1f cx %.1f cy %.1f (--fx --fy --cx --cy set them)\n",
                 setup.fx, setup.fy, setup.cx, setup.cy);
  }
  const size_t pixels = static_cast<size_t>(width) * height;
  std::vector<typedefSarvikPoint3D> points(pixels);
  int32_t status = context->depthToPointCloud(depth, width, height, setup.scale, setup.fx, setup.fy, setup.cx,
                                              setup.cy, points.data(), setup.encoding, setup.clip);
  if (status != 0) return reportFailure("converting depth to points", status);
  std::vector<typedefSarvikRGBA> colours(colour ? pixels : 0);
  if (colour) {
    std::vector<typedefSarvikPoint3D> ignored(pixels);
    status = context->depthToColouredCloud(depth, width, height, setup.scale, setup.fx, setup.fy, setup.cx,
                                           setup.cy, ignored.data(), colours.data(), setup.encoding);
    if (status != 0) return reportFailure("colouring the points by depth", status);
  }
  std::ostringstream bytes;
  const long long written = writePly(bytes, points.data(), colour ? colours.data() : nullptr, pixels);
  const std::string text = bytes.str();
  OutputFile file;
  if (written < 0 || !file.open(path, force) || !file.write(text.data(), text.size()) || !file.commit()) {
    return reportError(file.error().empty() ? "cannot encode the cloud" : file.error());
  }
  std::printf("wrote %s: %lld of %zu points (%ux%u; pixels without depth left out), fx %.3f fy %.3f cx %.3f cy "
              "%.3f, %g units a metre%s\n",
              path.c_str(), written, pixels, width, height, setup.fx, setup.fy, setup.cx, setup.cy, setup.scale,
              colour ? ", coloured by depth through the module's colour bar" : "");
  return 0;
}

}  // namespace tools
}  // namespace sarvik
