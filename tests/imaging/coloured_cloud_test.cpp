#include "imaging/coloured_cloud.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "imaging/colour_bar.h"
#include "imaging/imaging_reference.h"
#include "imaging/imaging_test_support.h"

namespace {

using imaging_reference::floatFromBits;
using imaging_test::bitsOf;
using imaging_test::sameColours;
using imaging_test::samePoints;
using sarvik::SimdLevel;
using Points = std::vector<typedefSarvikPoint3D>;
using Colours = std::vector<typedefSarvikRGBA>;

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();
const typedefSarvikRGBA kFar{1.0f, 0.0f, 0.0f, 1.0f};
const typedefSarvikRGBA kInvalid{0.0f, 0.0f, 0.0f, 1.0f};

const Colours& referenceBar() {
  static const Colours bar = imaging_reference::colourBar();
  return bar;
}

struct Cloud {
  // `guard` extra records behind the image, which no conversion may touch.
  Cloud(size_t pixels, size_t guard = 0)
      : pixels(pixels),
        points(pixels + guard, typedefSarvikPoint3D{u(), u(), u()}),
        colours(pixels + guard, typedefSarvikRGBA{u(), u(), u(), u()}) {}
  static float u() { return imaging_test::untouched(); }

  // Checks the guard records and cuts them off.
  void dropGuard() {
    EXPECT_TRUE(imaging_test::allUntouched(points.data() + pixels, points.size() - pixels)) << "points past the end";
    EXPECT_TRUE(imaging_test::allUntouched(colours.data() + pixels, colours.size() - pixels)) << "colours past the end";
    points.resize(pixels);
    colours.resize(pixels);
  }
  void expectEqual(const Cloud& other) const {
    EXPECT_TRUE(samePoints(points, other.points));
    EXPECT_TRUE(sameColours(colours, other.colours));
  }

  size_t pixels;
  Points points;
  Colours colours;
};

Cloud convert(const std::vector<uint16_t>& depth, uint32_t width, uint32_t height, float scale, uint32_t encoding,
              SimdLevel level = sarvik::bestSimdLevel(), float fx = 1.0f, float fy = 1.0f, float cx = 1.0f,
              float cy = 1.0f) {
  Cloud cloud(depth.size(), 16);
  EXPECT_EQ(0, sarvik::convertDepthToColouredCloudWith(level, depth.data(), width, height, scale, fx, fy, cx, cy,
                                                       cloud.points.data(), cloud.colours.data(), encoding));
  cloud.dropGuard();
  return cloud;
}

Cloud reference(const std::vector<uint16_t>& depth, uint32_t width, uint32_t height, float scale,
                uint32_t encoding) {
  Cloud cloud(depth.size());
  imaging_reference::colouredCloud(depth.data(), width, height, scale, cloud.points.data(), cloud.colours.data(),
                                   encoding, referenceBar());
  return cloud;
}

typedefSarvikRGBA fromBytes(int red, int green, int blue) {
  return typedefSarvikRGBA{static_cast<float>(red / 255.0), static_cast<float>(green / 255.0),
                           static_cast<float>(blue / 255.0), 1.0f};
}

TEST(ColourBar, FollowsTheStepRulesWithPhasesTurningAheadOfThe1024Boundaries) {
  sarvik::ensureColourBar();
  const typedefSarvikRGBA* bar = sarvik::colourBar();
  EXPECT_TRUE(sameColours(referenceBar(), Colours(bar, bar + sarvik::kColourBarSize)));
  EXPECT_TRUE(sameColours({kFar, kInvalid}, {bar[sarvik::kFarColourIndex], bar[sarvik::kInvalidColourIndex]}));
  const struct {
    uint32_t index;
    int red, green, blue;
  } entries[] = {
      {0, 0, 1, 255},      {3, 0, 1, 255},      {4, 0, 2, 255},      {1016, 0, 255, 255}, {1019, 0, 255, 255},
      {1020, 0, 255, 254}, {1024, 0, 255, 253}, {2036, 0, 255, 0},   {2039, 0, 255, 0},   {2040, 1, 255, 0},
      {2048, 3, 255, 0},   {3056, 255, 255, 0}, {3060, 255, 254, 0}, {3072, 255, 251, 0}, {4076, 255, 0, 0},
  };
  for (const auto& e : entries) {
    EXPECT_TRUE(sameColours({fromBytes(e.red, e.green, e.blue)}, {bar[e.index]})) << e.index;
  }
  for (uint32_t i = 4077; i < 4096; ++i) EXPECT_TRUE(sameColours({fromBytes(255, 0, 0)}, {bar[i]})) << i;
}

TEST(ColouredCloudIntrinsics, ChosenByWidthWhateverTheCallerPassesButScaleIsUsed) {
  for (uint32_t width : {640u, 641u}) {
    std::vector<uint16_t> depth(width * 2, 0);
    depth[width + 1] = 4;  // row 1, column 1, d = 1 in the two-bit format
    const Cloud a = convert(depth, width, 2, 1.0f, 3, sarvik::bestSimdLevel(), 1.0f, 2.0f, 3.0f, 4.0f);
    const Cloud b = convert(depth, width, 2, 1.0f, 3, sarvik::bestSimdLevel(), -9.0f, kNaN, 0.0f, 1e9f);
    a.expectEqual(b);

    const bool wide = width > 640;
    const float focal = floatFromBits(wide ? 0x44510752 : 0x43D10752);
    const float cx = floatFromBits(wide ? 0x441EA894 : 0x439EA894);
    const float cy = floatFromBits(wide ? 0x43C86D18 : 0x43486D18);
    const typedefSarvikPoint3D& p = a.points[width + 1];
    EXPECT_EQ(bitsOf((1.0f - cx) / focal), bitsOf(p.x)) << width;
    EXPECT_EQ(bitsOf(-((1.0f - cy) / focal)), bitsOf(p.y)) << width;
    EXPECT_EQ(-1.0f, p.z);
  }
  EXPECT_EQ(-0.5f, convert({4}, 1, 1, 2.0f, 3).points[0].z);
  EXPECT_EQ(-kInf, convert({4}, 1, 1, 0.0f, 3).points[0].z);  // no fall-back here
}

TEST(ColouredCloudFormats, CutOffsAndColoursPerEncoding) {
  const struct {
    uint32_t encoding;
    uint16_t sample;
    uint32_t depth;  // 0: no depth
    bool far;
  } cases[] = {
      {1, 65520, 0, false},    {1, 65504, 4094, false}, {1, 15, 0, false},       {1, 16, 1, false},
      {1, 65535, 0, false},    {2, 32000, 0, false},    {2, 31992, 3999, false}, {2, 65535, 0, false},
      {3, 16380, 4095, true},  {3, 65532, 0, false},    {3, 65528, 16382, true}, {0, 65535, 0, false},
      {9, 16376, 4094, false}, {0, 3, 0, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "encoding " << c.encoding << " sample " << c.sample);
    const Cloud cloud = convert({c.sample}, 1, 1, 1.0f, c.encoding);
    const typedefSarvikPoint3D& p = cloud.points[0];
    if (c.depth == 0) {
      EXPECT_EQ(0u, bitsOf(p.x) | bitsOf(p.y) | bitsOf(p.z));
      EXPECT_TRUE(sameColours({kInvalid}, cloud.colours));
    } else {
      EXPECT_EQ(-static_cast<float>(c.depth), p.z);
      EXPECT_TRUE(sameColours({c.far ? kFar : referenceBar()[c.depth]}, cloud.colours));
    }
  }
}

TEST(ColouredCloudRows, YAndZAreNegatedAndTheCentreRowGivesNegativeZero) {
  const std::vector<uint16_t> depth(6, 4);  // two columns, three rows, d = 1 everywhere
  Cloud cloud(6);
  sarvik::depthRowsToCloud(depth.data(), 2, 0, 3, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, cloud.points.data(),
                           cloud.colours.data(), 3);
  // Row 0 lies above the centre row 1, row 2 below it.
  EXPECT_EQ(-1.0f, cloud.points[0].x);
  EXPECT_EQ(1.0f, cloud.points[0].y);
  EXPECT_EQ(0u, bitsOf(cloud.points[1].x));
  EXPECT_EQ(0x80000000u, bitsOf(cloud.points[2].y));
  EXPECT_EQ(0x80000000u, bitsOf(cloud.points[3].y));
  EXPECT_EQ(-1.0f, cloud.points[4].y);
  EXPECT_EQ(-1.0f, cloud.points[5].z);
}

TEST(ColouredCloudRows, RangeIsHalfOpenAndAddressedFromTheImageStart) {
  const std::vector<uint16_t> depth = imaging_test::randomDepth(19, 7, 8);
  Cloud cloud(depth.size());
  Cloud expected(depth.size());
  const uint32_t ranges[][2] = {{2, 5}, {4, 4}, {6, 5}};  // rows 2 to 4, then two empty ranges
  for (const auto& range : ranges) {
    sarvik::depthRowsToCloud(depth.data(), 19, range[0], range[1], 3.0f, 5.0f, 6.0f, 7.0f, 2.0f,
                             cloud.points.data(), cloud.colours.data(), 1);
  }
  imaging_reference::colouredRows(depth.data(), 19, 2, 5, 3.0f, 5.0f, 6.0f, 7.0f, 2.0f, expected.points.data(),
                                  expected.colours.data(), 1, referenceBar());
  expected.expectEqual(cloud);  // rows outside still hold the untouched marker
}

TEST(ColouredCloudBuffers, NullBuffersWithAnImageWriteNothing) {
  const std::vector<uint16_t> depth(6, 100);
  Cloud cloud(6);
  typedefSarvikPoint3D* p = cloud.points.data();
  typedefSarvikRGBA* c = cloud.colours.data();
  EXPECT_EQ(0, sarvik::convertDepthToColouredCloud(nullptr, 3, 2, 1, 1, 1, 1, 1, p, c, 1));
  EXPECT_EQ(0, sarvik::convertDepthToColouredCloud(depth.data(), 3, 2, 1, 1, 1, 1, 1, nullptr, c, 1));
  EXPECT_EQ(0, sarvik::convertDepthToColouredCloud(depth.data(), 3, 2, 1, 1, 1, 1, 1, p, nullptr, 1));
  EXPECT_EQ(0, sarvik::convertDepthToColouredCloud(depth.data(), 3, 0, 1, 1, 1, 1, 1, p, c, 1));
  EXPECT_TRUE(imaging_test::allUntouched(p, 6));
  EXPECT_TRUE(imaging_test::allUntouched(c, 6));
}

bool failUpperWorker(uint32_t worker, uint32_t, uint32_t) { return worker != 0; }
bool failLowerWorker(uint32_t worker, uint32_t, uint32_t) { return worker != 1; }
bool failBothWorkers(uint32_t, uint32_t, uint32_t) { return false; }

// A worker that cannot be started leaves its rows to the calling thread;
// either way every row is converted once and the call returns with no
// thread left running.
TEST(ColouredCloudWorkers, EveryRowIsConvertedForAnyHeightAndFailedStart) {
  for (sarvik::WorkerStartFilter filter : {sarvik::WorkerStartFilter{nullptr}, failUpperWorker, failLowerWorker,
                                           failBothWorkers}) {
    sarvik::setWorkerStartFilterForTesting(filter);
    for (uint32_t height : {0u, 1u, 2u, 5u, 481u}) {
      SCOPED_TRACE(::testing::Message() << "height " << height);
      const std::vector<uint16_t> depth = imaging_test::randomDepth(33, height, height);
      reference(depth, 33, height, 1000.0f, 3).expectEqual(convert(depth, 33, height, 1000.0f, 3));
    }
  }
  sarvik::setWorkerStartFilterForTesting(nullptr);
}

uint32_t g_rows[2][2];
bool recordRows(uint32_t worker, uint32_t rowBegin, uint32_t rowEnd) {
  g_rows[worker][0] = rowBegin;
  g_rows[worker][1] = rowEnd;
  return true;
}

TEST(ColouredCloudWorkers, OddHeightsGiveTheExtraRowToTheLowerWorker) {
  sarvik::setWorkerStartFilterForTesting(recordRows);
  for (uint32_t height : {0u, 1u, 5u, 6u}) {
    convert(std::vector<uint16_t>(2 * height, 4), 2, height, 1.0f, 3);
    EXPECT_EQ(0u, g_rows[0][0]);
    EXPECT_EQ(height / 2, g_rows[0][1]) << height;
    EXPECT_EQ(height / 2, g_rows[1][0]) << height;
    EXPECT_EQ(height, g_rows[1][1]) << height;
  }
  sarvik::setWorkerStartFilterForTesting(nullptr);
}

TEST(ColouredCloudFastPaths, RowKernelsMatchTheReferenceOnEdgeWidthsAndIntrinsics) {
  const struct {
    float scale, fx, fy, cx, cy;
  } sets[] = {
      {1000.0f, 425.3f, 424.7f, 318.2f, 241.9f}, {0.0f, 3.0f, 3.0f, 1.0f, 1.0f},
      {-0.0f, 3.0f, 3.0f, 1.0f, 1.0f},          {1.0e-30f, 1.0e30f, 1.0e-30f, 1.5f, 2.5f},
      {3.0e38f, 1.0e-3f, 7.0e37f, 100.0f, 1.0f}, {kNaN, 1.0f, 1.0f, 1.0f, 1.0f},
      {1.0f, kNaN, 2.0f, kInf, 1.0f},            {7.0f, -5.0f, 0.0f, 2.0f, 1.0f},
  };
  std::vector<uint32_t> widths;
  for (uint32_t w = 1; w <= 40; ++w) widths.push_back(w);
  for (uint32_t w : {284u, 568u, 639u, 640u, 641u, 1136u}) widths.push_back(w);
  for (uint32_t width : widths) {
    const std::vector<uint16_t> depth = imaging_test::randomDepth(width, 4, 1000 + width);
    for (const auto& in : sets) {
      for (uint32_t encoding : {0u, 1u, 2u, 3u}) {
        Cloud expected(depth.size());
        imaging_reference::colouredRows(depth.data(), width, 0, 4, in.scale, in.fx, in.fy, in.cx, in.cy,
                                        expected.points.data(), expected.colours.data(), encoding, referenceBar());
        for (SimdLevel level : imaging_test::supportedLevels()) {
          SCOPED_TRACE(::testing::Message() << imaging_test::levelName(level) << " width " << width << " encoding "
                                            << encoding << " scale " << in.scale << " fx " << in.fx);
          Cloud cloud(depth.size(), 16);
          sarvik::depthRowsToCloudWith(level, depth.data(), width, 0, 4, in.scale, in.fx, in.fy, in.cx, in.cy,
                                       cloud.points.data(), cloud.colours.data(), encoding);
          cloud.dropGuard();
          ASSERT_NO_FATAL_FAILURE(expected.expectEqual(cloud));
          if (::testing::Test::HasFailure()) return;
        }
      }
    }
  }
}

TEST(ColouredCloudFastPaths, MatchTheReferenceOnFullSizeRandomImages) {
  for (uint32_t width : {640u, 641u, 1280u}) {
    const uint32_t height = width == 640 ? 480 : 40;
    const std::vector<uint16_t> depth = imaging_test::randomDepth(width, height, height);
    for (uint32_t encoding : {1u, 2u, 3u}) {
      const Cloud expected = reference(depth, width, height, 1000.0f, encoding);
      for (SimdLevel level : imaging_test::supportedLevels()) {
        SCOPED_TRACE(::testing::Message() << imaging_test::levelName(level) << " width " << width << " encoding "
                                          << encoding);
        expected.expectEqual(convert(depth, width, height, 1000.0f, encoding, level));
        if (::testing::Test::HasFailure()) return;
      }
    }
  }
}

}  // namespace
