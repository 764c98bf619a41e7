// Depth image to PLY file, the conversion done by the module.
#ifndef SARVIK_TOOLS_DEPTH_CLOUD_H
#define SARVIK_TOOLS_DEPTH_CLOUD_H

#include <cstdint>
#include <string>

#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikCamera.h"
#include "tools/command_line.h"

namespace sarvik {
namespace tools {

// The numbers a conversion runs with, every one set.
struct CloudSetup {
  float scale = 1000.0f;
  float fx = 0.0f;
  float fy = 0.0f;
  float cx = 0.0f;
  float cy = 0.0f;
  uint32_t encoding = 0;
  bool clip = false;
  bool guessedIntrinsics = false;  // neither options nor camera gave them
};

// Options first, then the camera's intrinsics (scaled to `width` x `height`
// when they were given for another size) and depth unit (either may be
// null), then fall-backs: the image centre, a focal length of 425 pixels at
// 640 columns, and millimetres in two fractional bits.
CloudSetup resolveCloud(const CloudOptions& options, const SarvikIntrinsics* intrinsics, const SarvikDepthUnit* unit,
                        uint32_t width, uint32_t height);

// Converts `depth` (width * height samples) with depthToPointCloud and
// writes the real points to `path`; with `colour`, each point gets the
// colour of its depth from the module's colour bar (depthToColouredCloud,
// whose own points are not used: it ignores the intrinsics). Prints the
// outcome; returns the exit code.
int writeDepthCloud(SarvikBaseContext* context, const uint16_t* depth, uint32_t width, uint32_t height,
                    const CloudSetup& setup, bool colour, const std::string& path, bool force);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_DEPTH_CLOUD_H
