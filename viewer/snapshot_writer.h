// Snapshots from the viewer: the newest image of each running stream as a
// PNG (colour as RGB, depth and 16-bit infrared as 16-bit grey with the
// camera's raw values, so the file keeps the measurement, not a picture of it).
#ifndef SARVIK_VIEWER_SNAPSHOT_WRITER_H
#define SARVIK_VIEWER_SNAPSHOT_WRITER_H

#include <string>
#include <vector>

#include "api_result.h"
#include "frame_hub.h"

namespace sarvik_viewer {

// Writes one PNG per stream that has an image into `folder`, names starting
// with `prefix`; the paths written go to *written.
ApiResult writeSnapshot(FrameHub* hub, const std::string& folder, const std::string& prefix,
                        std::vector<std::string>* written);

// One image of a message to `path`; false with *error on failure.
bool writePng(const std::string& path, const std::vector<uint8_t>& message, std::string* error);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_SNAPSHOT_WRITER_H
