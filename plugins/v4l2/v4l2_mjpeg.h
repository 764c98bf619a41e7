// Motion-JPEG images of a stream, decoded by libjpeg-turbo straight into the
// pool frame's RGB24 pixels. Without the library, MJPG is not offered.
#ifndef SARVIK_V4L2_MJPEG_H
#define SARVIK_V4L2_MJPEG_H

#include <cstddef>
#include <cstdint>

namespace v4l2cam {

bool mjpegAvailable();

// One per stream: the decoder keeps its tables between images.
class MjpegDecoder {
 public:
  MjpegDecoder();
  ~MjpegDecoder();
  MjpegDecoder(const MjpegDecoder&) = delete;
  MjpegDecoder& operator=(const MjpegDecoder&) = delete;
  // false: not a JPEG of exactly width x height, or corrupt.
  bool decode(const uint8_t* src, size_t bytes, uint32_t width, uint32_t height, uint8_t* rgb);

 private:
  void* m_handle = nullptr;
};

}  // namespace v4l2cam

#endif  // SARVIK_V4L2_MJPEG_H
