// The PLY and BMP files the tools write, checked byte for byte.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "tools/bmp_writer.h"
#include "tools/ply_writer.h"
#include "tools/scratch_folder.h"

namespace sarvik {
namespace tools {
namespace {

float floatAt(const std::string& bytes, size_t offset) {
  uint32_t bits = 0;
  for (int i = 3; i >= 0; --i) bits = (bits << 8) | static_cast<uint8_t>(bytes[offset + i]);
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

uint32_t u32At(const std::vector<uint8_t>& bytes, size_t offset) {
  return bytes[offset] | bytes[offset + 1] << 8 | bytes[offset + 2] << 16 |
         static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

const char kPlainHeader[] =
    "ply\n"
    "format binary_little_endian 1.0\n"
    "comment written by sarvik\n"
    "element vertex 2\n"
    "property float x\n"
    "property float y\n"
    "property float z\n"
    "end_header\n";

TEST(PlyWriterTest, ZeroPointsAreLeftOutOfCountAndBody) {
  const typedefSarvikPoint3D points[] = {
      {0.0f, 0.0f, 0.0f}, {1.5f, -2.0f, 3.25f}, {0.0f, -0.0f, -0.0f}, {-0.5f, 0.0f, 7.0f}};
  std::ostringstream out;
  EXPECT_EQ(writePly(out, points, nullptr, 4), 2);
  const std::string file = out.str();
  const size_t header = std::strlen(kPlainHeader);
  ASSERT_EQ(file.substr(0, header), kPlainHeader);
  ASSERT_EQ(file.size(), header + 2 * 12);
  EXPECT_EQ(floatAt(file, header + 0), 1.5f);
  EXPECT_EQ(floatAt(file, header + 4), -2.0f);
  EXPECT_EQ(floatAt(file, header + 8), 3.25f);
  EXPECT_EQ(floatAt(file, header + 12), -0.5f);
  EXPECT_EQ(floatAt(file, header + 20), 7.0f);

  // A cloud without any depth still makes a valid, empty file.
  const std::vector<typedefSarvikPoint3D> none(5000, typedefSarvikPoint3D{0, 0, 0});
  std::ostringstream empty;
  EXPECT_EQ(writePly(empty, none.data(), nullptr, none.size()), 0);
  std::string expected = kPlainHeader;
  expected.replace(expected.find("vertex 2"), 8, "vertex 0");
  EXPECT_EQ(empty.str(), expected);
}

TEST(PlyWriterTest, ColoursAddThreeByteChannelsRoundedAndClamped) {
  const typedefSarvikPoint3D points[] = {{0, 0, 0}, {1, 2, 3}};
  const typedefSarvikRGBA colours[] = {{9, 9, 9, 1},
                                       {1.0f, 0.5f, std::numeric_limits<float>::quiet_NaN(), 1.0f}};
  std::ostringstream out;
  EXPECT_EQ(writePly(out, points, colours, 2), 1);
  const std::string file = out.str();
  const std::string header =
      "ply\nformat binary_little_endian 1.0\ncomment written by sarvik\nelement vertex 1\n"
      "property float x\nproperty float y\nproperty float z\n"
      "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
  ASSERT_EQ(file.substr(0, header.size()), header);
  ASSERT_EQ(file.size(), header.size() + 15);
  EXPECT_EQ(floatAt(file, header.size() + 8), 3.0f);
  EXPECT_EQ(static_cast<uint8_t>(file[header.size() + 12]), 255);
  EXPECT_EQ(static_cast<uint8_t>(file[header.size() + 13]), 128);
  EXPECT_EQ(static_cast<uint8_t>(file[header.size() + 14]), 0);
}

TEST(PlyWriterTest, LargeCloudIsWrittenWhole) {
  // More points than one internal chunk, every third without depth.
  std::vector<typedefSarvikPoint3D> points(3000);
  for (size_t i = 0; i < points.size(); ++i) {
    const float v = i % 3 == 0 ? 0.0f : static_cast<float>(i);
    points[i] = {v, v, v};
  }
  std::ostringstream out;
  EXPECT_EQ(writePly(out, points.data(), nullptr, points.size()), 2000);
  const std::string file = out.str();
  const size_t body = file.find("end_header\n") + 11;
  ASSERT_EQ(file.size(), body + 2000 * 12);
  EXPECT_EQ(floatAt(file, file.size() - 4), 2999.0f);
}

TEST(BmpWriterTest, TwoByTwoImageGivesTheExact70ByteFileWithPaddedRows) {
  const uint8_t rgb[2 * 2 * 3] = {1, 2, 3, 4, 5, 6,  // top row
                                  7, 8, 9, 10, 11, 12};
  const std::vector<uint8_t> expected = {
      'B', 'M', 70, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,  // file header
      40, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0, 0, 0, 0, 0, 16, 0, 0, 0,
      0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // resolution and colour counts
      9, 8, 7, 12, 11, 10, 0, 0,                       // bottom row first, blue first
      3, 2, 1, 6, 5, 4, 0, 0};
  EXPECT_EQ(encodeBmp(rgb, 2, 2), expected);
}

TEST(BmpWriterTest, RowsOfAWidthDivisibleByFourNeedNoPadding) {
  std::vector<uint8_t> rgb(4 * 3 * 3, 0x55);
  const std::vector<uint8_t> file = encodeBmp(rgb.data(), 4, 3);
  EXPECT_EQ(file.size(), 54u + 4 * 3 * 3);
  EXPECT_EQ(u32At(file, 34), 36u);
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
