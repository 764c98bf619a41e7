// Depth image to PLY file, the conversion done by the module.
#ifndef SARVIK_TOOLS_DEPTH_CLOUD_H
#define SARVIK_TOOLS_DEPTH_CLOUD_H

#include <cstdint>
#include <string>

#include "sarvik/SarvikBaseContext.h"
#include "tools/command_line.h"

namespace sarvik {
namespace tools {

// Converts `depth` (width * height samples) with depthToPointCloud, or with
// depthToColouredCloud when `colour` is set (which uses its own intrinsics),
// and writes the real points to `path`. Prints the outcome; returns the exit
// code.
int writeDepthCloud(SarvikBaseContext* context, const uint16_t* depth, uint32_t width, uint32_t height,
                    const CloudOptions& options, bool colour, const std::string& path);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_DEPTH_CLOUD_H
