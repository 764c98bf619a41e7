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

TEST(PlyWriterTest, CloudWithoutDepthStillMakesAValidFile) {
  std::vector<typedefSarvikPoint3D> points(5000, typedefSarvikPoint3D{0, 0, 0});
  std::ostringstream out;
  EXPECT_EQ(writePly(out, points.data(), nullptr, points.size()), 0);
  EXPECT_NE(out.str().find("element vertex 0\n"), std::string::npos);
  EXPECT_EQ(out.str().substr(out.str().size() - 11), "end_header\n");
}

TEST(PlyWriterTest, LargeCloudIsWrittenWhole) {
  // More points than one internal chunk, every third without depth.
  std::vector<typedefSarvikPoint3D> points(3000);
  for (size_t i = 0; i < points.size(); ++i) {
    const float v = i % 3 == 0 ? 0.0f : static_cast<float>(i);
    points[i] = {v, v, v};
  }
  ScratchFolder folder;
  std::string error;
  EXPECT_EQ(writePlyFile(folder.file("c.ply"), points.data(), nullptr, points.size(), &error), 2000);
  const std::string file = readWholeFile(folder.file("c.ply"));
  const size_t body = file.find("end_header\n") + 11;
  ASSERT_EQ(file.size(), body + 2000 * 12);
  EXPECT_EQ(floatAt(file, file.size() - 4), 2999.0f);
}

TEST(PlyWriterTest, UnwritableFileIsReported) {
  const typedefSarvikPoint3D point{1, 1, 1};
  std::string error;
  EXPECT_EQ(writePlyFile("/nonexistent-folder/x.ply", &point, nullptr, 1, &error), -1);
  EXPECT_NE(error.find("/nonexistent-folder/x.ply"), std::string::npos);
}

TEST(BmpWriterTest, HeadersDescribeA24BitBottomUpImageWithPaddedRows) {
  const uint8_t rgb[2 * 2 * 3] = {1, 2, 3, 4, 5, 6,  // top row
                                  7, 8, 9, 10, 11, 12};
  const std::vector<uint8_t> file = encodeBmp(rgb, 2, 2);
  ASSERT_EQ(file.size(), 54u + 2 * 8);
  EXPECT_EQ(file[0], 'B');
  EXPECT_EQ(file[1], 'M');
  EXPECT_EQ(u32At(file, 2), file.size());
  EXPECT_EQ(u32At(file, 10), 54u);
  EXPECT_EQ(u32At(file, 14), 40u);
  EXPECT_EQ(u32At(file, 18), 2u);
  EXPECT_EQ(u32At(file, 22), 2u);
  EXPECT_EQ(file[26] | file[27] << 8, 1);
  EXPECT_EQ(file[28] | file[29] << 8, 24);
  EXPECT_EQ(u32At(file, 30), 0u);
  EXPECT_EQ(u32At(file, 34), 16u);
  // The file's first row is the image's last, each pixel blue first.
  const std::vector<uint8_t> pixels(file.begin() + 54, file.end());
  EXPECT_EQ(pixels, std::vector<uint8_t>({9, 8, 7, 12, 11, 10, 0, 0, 3, 2, 1, 6, 5, 4, 0, 0}));
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
