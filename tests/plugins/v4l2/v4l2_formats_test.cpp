#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <vector>

#include "plugins/v4l2/v4l2_backend.h"
#include "plugins/v4l2/v4l2_formats.h"

namespace {

using v4l2cam::convertImage;
using v4l2cam::mapFormat;

TEST(V4l2Formats, MapsEachFourccToItsSensorAndPixelFormat) {
  struct Case {
    uint32_t fourcc;
    bool y16IsDepth;
    bool mapped;
    uint32_t sensor, pixel;
  } cases[] = {
      {v4l2_fourcc('Z', '1', '6', ' '), false, true, SARVIK_STREAM_DEPTH, SARVIK_PIXEL_DEPTH16},
      {V4L2_PIX_FMT_Y16, true, true, SARVIK_STREAM_DEPTH, SARVIK_PIXEL_DEPTH16},
      {V4L2_PIX_FMT_Y16, false, true, SARVIK_STREAM_IR, SARVIK_PIXEL_GRAY16},
      {V4L2_PIX_FMT_YUYV, false, true, SARVIK_STREAM_COLOR, SARVIK_PIXEL_RGB24},
      {V4L2_PIX_FMT_RGB24, false, true, SARVIK_STREAM_COLOR, SARVIK_PIXEL_RGB24},
      {V4L2_PIX_FMT_GREY, false, true, SARVIK_STREAM_IR, SARVIK_PIXEL_GRAY8},
#ifdef SARVIK_HAVE_TURBOJPEG
      {V4L2_PIX_FMT_MJPEG, false, true, SARVIK_STREAM_COLOR, SARVIK_PIXEL_RGB24},
#else
      {V4L2_PIX_FMT_MJPEG, false, false, 0, 0},
#endif
      {V4L2_PIX_FMT_NV12, false, false, 0, 0},
  };
  for (const Case& c : cases) {
    uint32_t sensor = 0, pixel = 0;
    SCOPED_TRACE(v4l2cam::fourccText(c.fourcc));
    ASSERT_EQ(mapFormat(c.fourcc, c.y16IsDepth, &sensor, &pixel), c.mapped);
    if (!c.mapped) continue;
    EXPECT_EQ(sensor, c.sensor);
    EXPECT_EQ(pixel, c.pixel);
  }
}

TEST(V4l2Formats, Y16IsDepthOnlyWhenANameSaysDepth) {
  EXPECT_TRUE(v4l2cam::y16MeansDepth("Depth Camera 400: Depth", ""));
  EXPECT_TRUE(v4l2cam::y16MeansDepth("USB Camera", "Stereo DEPTH module"));
  EXPECT_FALSE(v4l2cam::y16MeansDepth("Thermal Camera", "IR Camera"));
}

TEST(V4l2Formats, YuyvBecomesRgbWithBt601LimitedRange) {
  // Black, white, and saturated red / blue chroma of two pixel pairs.
  const uint8_t yuyv[] = {16, 128, 16, 128, 235, 128, 235, 128, 81, 90, 81, 240, 41, 240, 41, 110};
  uint8_t rgb[8 * 3];
  ASSERT_TRUE(convertImage(V4L2_PIX_FMT_YUYV, yuyv, sizeof yuyv, 8, 1, rgb));
  const uint8_t expected[] = {0, 0, 0, 0, 0, 0, 255, 255, 255, 255, 255, 255,
                              255, 0, 0, 255, 0, 0, 0, 0, 255, 0, 0, 255};
  for (size_t i = 0; i < sizeof expected; ++i) EXPECT_NEAR(rgb[i], expected[i], 2) << "byte " << i;
}

TEST(V4l2Formats, ShortSourceIsRefusedAndOthersAreCopied) {
  std::vector<uint8_t> src(640 * 480 * 2 - 1, 7), dst(640 * 480 * 3, 0);
  EXPECT_FALSE(convertImage(V4L2_PIX_FMT_YUYV, src.data(), src.size(), 640, 480, dst.data()));
  EXPECT_FALSE(convertImage(V4L2_PIX_FMT_Z16, src.data(), src.size(), 640, 480, dst.data()));
  src.push_back(9);
  ASSERT_TRUE(convertImage(V4L2_PIX_FMT_Z16, src.data(), src.size(), 640, 480, dst.data()));
  EXPECT_EQ(dst[640 * 480 * 2 - 1], 9);
  EXPECT_EQ(dst[640 * 480 * 2], 0);  // nothing beyond the image
}

}  // namespace
