// What the SDK makes of a V4L2 pixel format, and the one pass that turns a
// driver buffer into the pixels of a pool frame.
#ifndef SARVIK_V4L2_FORMATS_H
#define SARVIK_V4L2_FORMATS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sarvik/SarvikCamera.h"
#include "v4l2_system.h"

namespace v4l2cam {

// A mode of a node: the SDK's record and the driver format behind it.
struct NodeMode {
  SarvikModeRecord record;
  uint32_t fourcc = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t fps = 0;  // 0: the driver chooses
};

// Sensor type and pixel format of a fourcc; false when the SDK has none.
// Y16 carries depth only when y16IsDepth (see v4l2_backend.cpp).
bool mapFormat(uint32_t fourcc, bool y16IsDepth, uint32_t* sensorType, uint32_t* pixelFormat);

// The bytes a whole image of this format takes in a driver buffer.
size_t sourceBytes(uint32_t fourcc, uint32_t width, uint32_t height);

// Writes the image into dst (width * height * the mode's bytes a pixel).
// false: the buffer is shorter than a whole image.
bool convertImage(uint32_t fourcc, const uint8_t* src, size_t srcBytes, uint32_t width, uint32_t height,
                  uint8_t* dst);

// "YUYV", "Z16 ", ...
std::string fourccText(uint32_t fourcc);

// Every discrete size and rate of every mappable format of an open node, in
// the order the driver lists them; formats with no mapping go to *unmapped.
void enumerateModes(System& sys, int fd, bool y16IsDepth, std::vector<NodeMode>* modes,
                    std::vector<std::string>* unmapped);

}  // namespace v4l2cam

#endif  // SARVIK_V4L2_FORMATS_H
