#include "v4l2_formats.h"

#include "v4l2_mjpeg.h"

#include <linux/videodev2.h>

#include <algorithm>
#include <cstring>

namespace v4l2cam {

namespace {

// Depth cameras over UVC announce 16-bit depth as "Z16 "; some older ones
// use the generic 16-bit grey code Y16.
constexpr uint32_t kFourccZ16 = v4l2_fourcc('Z', '1', '6', ' ');

// Modes beyond this are refused: the frame record keeps rates in a signed byte
// and the pool sizes in 32 bits.
constexpr uint32_t kMaxSide = 8192;
constexpr uint32_t kMaxFps = 127;

uint8_t clampByte(int value) { return static_cast<uint8_t>(value < 0 ? 0 : (value > 255 ? 255 : value)); }

// BT.601 limited range in 16.16 fixed point: exact integers, no float
// rounding to differ between builds.
void yuyvToRgb(const uint8_t* src, uint32_t pixels, uint8_t* dst) {
  for (uint32_t i = 0; i + 1 < pixels; i += 2, src += 4) {
    int u = src[1] - 128;
    int v = src[3] - 128;
    int rAdd = 104597 * v;
    int gAdd = -25675 * u - 53279 * v;
    int bAdd = 132201 * u;
    for (int k = 0; k < 2; ++k) {
      int y = 76309 * (std::max(src[k * 2], uint8_t{16}) - 16);
      *dst++ = clampByte((y + rAdd + 32768) >> 16);
      *dst++ = clampByte((y + gAdd + 32768) >> 16);
      *dst++ = clampByte((y + bAdd + 32768) >> 16);
    }
  }
}

}  // namespace

bool mapFormat(uint32_t fourcc, bool y16IsDepth, uint32_t* sensorType, uint32_t* pixelFormat) {
  switch (fourcc) {
    case kFourccZ16:
      *sensorType = SARVIK_STREAM_DEPTH;
      *pixelFormat = SARVIK_PIXEL_DEPTH16;
      return true;
    case V4L2_PIX_FMT_Y16:
      *sensorType = y16IsDepth ? SARVIK_STREAM_DEPTH : SARVIK_STREAM_IR;
      *pixelFormat = y16IsDepth ? SARVIK_PIXEL_DEPTH16 : SARVIK_PIXEL_GRAY16;
      return true;
    case V4L2_PIX_FMT_YUYV:
    case V4L2_PIX_FMT_RGB24:
      *sensorType = SARVIK_STREAM_COLOR;
      *pixelFormat = SARVIK_PIXEL_RGB24;
      return true;
    case V4L2_PIX_FMT_MJPEG:
      if (!mjpegAvailable()) return false;
      *sensorType = SARVIK_STREAM_COLOR;
      *pixelFormat = SARVIK_PIXEL_RGB24;
      return true;
    case V4L2_PIX_FMT_GREY:
      *sensorType = SARVIK_STREAM_IR;
      *pixelFormat = SARVIK_PIXEL_GRAY8;
      return true;
    default:
      return false;
  }
}

size_t sourceBytes(uint32_t fourcc, uint32_t width, uint32_t height) {
  size_t pixels = static_cast<size_t>(width) * height;
  switch (fourcc) {
    case V4L2_PIX_FMT_MJPEG: return 4;  // compressed: any length; the decoder judges it
    case V4L2_PIX_FMT_RGB24: return pixels * 3;
    case V4L2_PIX_FMT_GREY: return pixels;
    default: return pixels * 2;
  }
}

bool convertImage(uint32_t fourcc, const uint8_t* src, size_t srcBytes, uint32_t width, uint32_t height,
                  uint8_t* dst) {
  size_t need = sourceBytes(fourcc, width, height);
  if (srcBytes < need) return false;
  if (fourcc == V4L2_PIX_FMT_MJPEG) return false;  // needs a decoder: MjpegDecoder
  if (fourcc == V4L2_PIX_FMT_YUYV) {
    yuyvToRgb(src, width * height, dst);
  } else {
    std::memcpy(dst, src, need);
  }
  return true;
}

std::string fourccText(uint32_t fourcc) {
  std::string text;
  for (int i = 0; i < 4; ++i) {
    char c = static_cast<char>((fourcc >> (8 * i)) & 0xff);
    text += (c >= 32 && c < 127) ? c : '?';
  }
  return text;
}

void enumerateModes(System& sys, int fd, bool y16IsDepth, std::vector<NodeMode>* modes,
                    std::vector<std::string>* unmapped) {
  // Bounded loops: a driver that never answers EINVAL still ends.
  for (uint32_t f = 0; f < 64; ++f) {
    struct v4l2_fmtdesc desc;
    std::memset(&desc, 0, sizeof desc);
    desc.index = f;
    desc.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (sys.ioctl(fd, VIDIOC_ENUM_FMT, &desc) < 0) break;
    uint32_t sensor = 0, pixel = 0;
    if (!mapFormat(desc.pixelformat, y16IsDepth, &sensor, &pixel)) {
      unmapped->push_back(fourccText(desc.pixelformat));
      continue;
    }
    for (uint32_t s = 0; s < 256; ++s) {
      struct v4l2_frmsizeenum size;
      std::memset(&size, 0, sizeof size);
      size.index = s;
      size.pixel_format = desc.pixelformat;
      if (sys.ioctl(fd, VIDIOC_ENUM_FRAMESIZES, &size) < 0) break;
      // Stepwise and continuous ranges are offered at their largest size
      // only: listing every step would flood the mode list.
      uint32_t w = size.type == V4L2_FRMSIZE_TYPE_DISCRETE ? size.discrete.width : size.stepwise.max_width;
      uint32_t h = size.type == V4L2_FRMSIZE_TYPE_DISCRETE ? size.discrete.height : size.stepwise.max_height;
      if (w == 0 || h == 0 || w > kMaxSide || h > kMaxSide) continue;
      std::vector<uint32_t> rates;
      for (uint32_t r = 0; r < 64; ++r) {
        struct v4l2_frmivalenum ival;
        std::memset(&ival, 0, sizeof ival);
        ival.index = r;
        ival.pixel_format = desc.pixelformat;
        ival.width = w;
        ival.height = h;
        if (sys.ioctl(fd, VIDIOC_ENUM_FRAMEINTERVALS, &ival) < 0) break;
        const struct v4l2_fract& t = ival.type == V4L2_FRMIVAL_TYPE_DISCRETE ? ival.discrete : ival.stepwise.min;
        if (t.numerator == 0) continue;
        uint32_t fps = (t.denominator + t.numerator / 2) / t.numerator;
        if (fps == 0 || fps > kMaxFps) continue;
        if (std::find(rates.begin(), rates.end(), fps) == rates.end()) rates.push_back(fps);
        if (ival.type != V4L2_FRMIVAL_TYPE_DISCRETE) break;
      }
      if (rates.empty()) rates.push_back(0);
      for (uint32_t fps : rates) {
        NodeMode m;
        std::memset(&m.record, 0, sizeof m.record);
        m.fourcc = desc.pixelformat;
        m.width = w;
        m.height = h;
        m.fps = fps;
        m.record.mode.modeValue1 = static_cast<uint16_t>(w);
        m.record.mode.modeValue3 = static_cast<uint16_t>(h);
        m.record.mode.modeValue4 = static_cast<uint16_t>(pixel);
        m.record.mode.modeValue2 = static_cast<int8_t>(fps);
        m.record.bytesPerPixel = static_cast<uint8_t>(sarvikPixelBytes(static_cast<SarvikPixelFormat>(pixel)));
        m.record.sensorType = sensor;
        m.record.frameBytes = w * h * m.record.bytesPerPixel;
        modes->push_back(m);
      }
      if (size.type != V4L2_FRMSIZE_TYPE_DISCRETE) break;
    }
  }
}

}  // namespace v4l2cam
