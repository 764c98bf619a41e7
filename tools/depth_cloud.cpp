#include "tools/depth_cloud.h"

#include <cstdio>
#include <vector>

#include "tools/ply_writer.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

int writeDepthCloud(SarvikBaseContext* context, const uint16_t* depth, uint32_t width, uint32_t height,
                    const CloudOptions& options, bool colour, const std::string& path) {
  const size_t pixels = static_cast<size_t>(width) * height;
  std::vector<typedefSarvikPoint3D> points(pixels);
  std::vector<typedefSarvikRGBA> colours(colour ? pixels : 0);
  int32_t status;
  if (colour) {
    status = context->depthToColouredCloud(depth, width, height, options.scale, options.fx, options.fy, options.cx,
                                           options.cy, points.data(), colours.data(), options.encoding);
    if (status != 0) return reportFailure("depthToColouredCloud()", status);
  } else {
    status = context->depthToPointCloud(depth, width, height, options.scale, options.fx, options.fy, options.cx,
                                        options.cy, points.data(), options.encoding, options.clip);
    if (status != 0) return reportFailure("depthToPointCloud()", status);
  }
  std::string error;
  const long long written = writePlyFile(path, points.data(), colour ? colours.data() : nullptr, pixels, &error);
  if (written < 0) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  std::printf("wrote %lld of %zu points (%ux%u, pixels without depth left out) to %s\n", written, pixels, width,
              height, path.c_str());
  return 0;
}

}  // namespace tools
}  // namespace sarvik
