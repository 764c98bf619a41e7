#include "imaging/point_cloud.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "imaging/imaging_reference.h"
#include "imaging/imaging_test_support.h"

namespace {

using imaging_test::bitsOf;
using imaging_test::samePoints;
using sarvik::SimdLevel;
using Points = std::vector<typedefSarvikPoint3D>;

struct Intrinsics {
  float scale, fx, fy, cx, cy;
};

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();
const Intrinsics kFallback{1000.0f, 425.0f, 425.0f, 200.0f, 320.0f};

// Guard records behind the output are checked and cut off before the
// return: vector stores must not spill past the last pixel.
Points convert(const std::vector<uint16_t>& depth, uint32_t width, uint32_t height, const Intrinsics& in,
               uint32_t encoding, bool clip, SimdLevel level = sarvik::bestSimdLevel()) {
  const float u = imaging_test::untouched();
  Points points(depth.size() + 16, typedefSarvikPoint3D{u, u, u});
  EXPECT_EQ(0, sarvik::convertDepthToPointCloudWith(level, depth.data(), width, height, in.scale, in.fx, in.fy,
                                                    in.cx, in.cy, points.data(), encoding, clip));
  EXPECT_TRUE(imaging_test::allUntouched(points.data() + depth.size(), 16))
      << "past the end: " << imaging_test::levelName(level) << " width " << width;
  points.resize(depth.size());
  return points;
}

// Every path against the step-by-step reference, bit for bit.
void expectEveryPathMatches(const std::vector<uint16_t>& depth, uint32_t width, uint32_t height,
                            const Intrinsics& in) {
  for (uint32_t encoding : {0u, 1u, 2u, 5u}) {
    for (bool clip : {false, true}) {
      Points expected(depth.size());
      imaging_reference::pointCloud(depth.data(), width, height, in.scale, in.fx, in.fy, in.cx, in.cy,
                                    expected.data(), encoding, clip);
      for (SimdLevel level : imaging_test::supportedLevels()) {
        ASSERT_TRUE(samePoints(expected, convert(depth, width, height, in, encoding, clip, level)))
            << imaging_test::levelName(level) << " " << width << "x" << height << " encoding " << encoding
            << " clip " << clip << " scale " << in.scale << " fx " << in.fx << " cx " << in.cx;
      }
    }
  }
}

TEST(PointCloudIntrinsics, OneValueAtOrBelowZeroReplacesAllFiveButNaNDoesNot) {
  const std::vector<uint16_t> depth = imaging_test::randomDepth(40, 6, 11);
  const Points fallback = convert(depth, 40, 6, kFallback, 3, false);
  for (int position = 0; position < 5; ++position) {
    for (float bad : {0.0f, -0.0f, -2.5f, -kInf}) {
      float v[5] = {500.0f, 300.0f, 310.0f, 20.0f, 3.0f};
      v[position] = bad;
      EXPECT_TRUE(samePoints(fallback, convert(depth, 40, 6, {v[0], v[1], v[2], v[3], v[4]}, 3, false)))
          << "position " << position << " value " << bad;
    }
  }
  // Decoded depth 2.0: scale 500 with fy 0.0 divides by 1000; a NaN fx
  // spoils x alone.
  EXPECT_EQ(0.002f, convert({8}, 1, 1, {500.0f, 300.0f, 0.0f, 20.0f, 3.0f}, 3, false)[0].z);
  const typedefSarvikPoint3D p = convert({8}, 1, 1, {2.0f, kNaN, 4.0f, 0.5f, 0.5f}, 3, false)[0];
  EXPECT_TRUE(std::isnan(p.x));
  EXPECT_EQ(-0.125f, p.y);
  EXPECT_EQ(1.0f, p.z);
}

TEST(PointCloudOffsets, ThreeWidthsShiftTheirPixelsAndNeighboursDoNot) {
  const struct {
    uint32_t width;
    float colOffset, rowOffset;
  } cases[] = {{283, 0, 0},   {284, 25, 12},  {285, 0, 0},    {567, 0, 0},   {568, 50, 25},
               {569, 0, 0},   {1135, 0, 0},   {1136, 100, 50}, {1137, 0, 0}, {640, 0, 0}};
  for (const auto& c : cases) {
    std::vector<uint16_t> depth(c.width * 2, 0);
    depth[0] = 8;            // row 0, column 0, decoded 2.0
    depth[c.width + 3] = 8;  // row 1, column 3
    const Points points = convert(depth, c.width, 2, {1.0f, 1.0f, 1.0f, 0.5f, 0.5f}, 3, true);
    EXPECT_EQ((c.colOffset - 0.5f) * 2.0f, points[0].x) << c.width;
    EXPECT_EQ((c.rowOffset - 0.5f) * 2.0f, points[0].y) << c.width;
    EXPECT_EQ((c.colOffset + 2.5f) * 2.0f, points[c.width + 3].x) << c.width;
    EXPECT_EQ((c.rowOffset + 0.5f) * 2.0f, points[c.width + 3].y) << c.width;
  }
  // cx 0.0 is not positive: the offsets apply to the fall-back set.
  const std::vector<uint16_t> depth = imaging_test::randomDepth(284, 3, 5);
  EXPECT_TRUE(samePoints(convert(depth, 284, 3, kFallback, 3, true),
                         convert(depth, 284, 3, {1.0f, 1.0f, 1.0f, 0.0f, 1.0f}, 3, true)));
}

TEST(PointCloudFormats, CutOffsAndFractionalBitsPerEncoding) {
  const struct {
    uint32_t encoding;
    bool clip;
    uint16_t sample;
    float depth;  // 0 for the zero point
  } cases[] = {
      {1, true, 65520, 0.0f},       {1, true, 65519, 4094.9375f}, {1, false, 65535, 4095.9375f},
      {1, false, 65520, 4095.0f},   {1, true, 1, 0.0625f},        {1, true, 15, 0.9375f},
      {2, true, 65528, 0.0f},       {2, true, 65527, 8190.875f},  {2, false, 65535, 8191.875f},
      {0, true, 65535, 0.0f},       {3, true, 65532, 0.0f},       {7, true, 65531, 16382.75f},
      {0, false, 65535, 16383.75f}, {3, false, 65532, 16383.0f},  {0xFFFFFFFF, true, 65535, 0.0f},
      {1, true, 0, 0.0f},           {1, false, 0, 0.0f},          {3, false, 0, 0.0f},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "encoding " << c.encoding << " clip " << c.clip << " sample " << c.sample);
    const typedefSarvikPoint3D p = convert({c.sample}, 1, 1, {1.0f, 1.0f, 1.0f, 4.0f, 4.0f}, c.encoding, c.clip)[0];
    if (c.depth == 0.0f) {
      EXPECT_EQ(0u, bitsOf(p.x) | bitsOf(p.y) | bitsOf(p.z));
    } else {
      EXPECT_EQ(c.depth, p.z);
      EXPECT_EQ(-4.0f * c.depth, p.x);
    }
  }
}

TEST(PointCloudBuffers, EmptyOrNullImagesWriteNothing) {
  const std::vector<uint16_t> depth(12, 100);
  const float u = imaging_test::untouched();
  Points points(12, typedefSarvikPoint3D{u, u, u});
  EXPECT_EQ(0, sarvik::convertDepthToPointCloud(depth.data(), 0, 3, 1, 1, 1, 1, 1, points.data(), 1, true));
  EXPECT_EQ(0, sarvik::convertDepthToPointCloud(depth.data(), 4, 0, 1, 1, 1, 1, 1, points.data(), 1, true));
  EXPECT_EQ(0, sarvik::convertDepthToPointCloud(nullptr, 4, 3, 1, 1, 1, 1, 1, points.data(), 1, true));
  EXPECT_EQ(0, sarvik::convertDepthToPointCloud(depth.data(), 4, 3, 1, 1, 1, 1, 1, nullptr, 1, true));
  EXPECT_TRUE(imaging_test::allUntouched(points.data(), points.size()));
}

// Widths that exercise each register tail and the offset widths, intrinsics
// that reach infinities, subnormals, NaN and signed zeros.
TEST(PointCloudFastPaths, MatchTheReferenceOnEdgeWidthsAndIntrinsics) {
  const Intrinsics sets[] = {
      {1000.0f, 425.3f, 424.7f, 318.2f, 241.9f}, {0.001f, 3.3f, 7.7f, 1.0e6f, 0.25f},
      {1.0e-30f, 1.0e30f, 1.0e-30f, 1.5f, 2.5f},  // y overflows
      {3.0e38f, 1.0e-3f, 7.0e37f, 100.0f, 100.0f},  // subnormal and vanishing y
      {kNaN, 1.0f, 1.0f, 1.0f, 1.0f},            {1.0f, kNaN, 2.0f, 3.0f, kNaN},
      {2.0f, 5.0f, 5.0f, kInf, 1.0f},            {-0.0f, 5.0f, 5.0f, 1.0f, 1.0f},
      {7.0f, -5.0f, 5.0f, 1.0f, 1.0f},           {7.0f, 5.0f, 5.0f, 2.0f, 1.0f},  // +0.0 on the centre
  };
  std::vector<uint32_t> widths;
  for (uint32_t w = 1; w <= 40; ++w) widths.push_back(w);
  for (uint32_t w : {283u, 284u, 285u, 567u, 568u, 569u, 639u, 640u, 641u, 1135u, 1136u, 1137u}) widths.push_back(w);
  for (uint32_t width : widths) {
    const std::vector<uint16_t> depth = imaging_test::randomDepth(width, 3, width);
    for (const Intrinsics& in : sets) ASSERT_NO_FATAL_FAILURE(expectEveryPathMatches(depth, width, 3, in));
  }
}

TEST(PointCloudFastPaths, MatchTheReferenceOnFullSizeRandomImages) {
  const Intrinsics in{1000.0f, 425.3f, 424.7f, 318.2f, 241.9f};
  for (uint32_t width : {640u, 1280u, 1136u}) {
    const uint32_t height = width == 640 ? 480 : 40;
    ASSERT_NO_FATAL_FAILURE(expectEveryPathMatches(imaging_test::randomDepth(width, height, width), width, height, in));
  }
}

}  // namespace
