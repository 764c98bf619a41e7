#include "imaging/bmp_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "platform/file_impl.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

class BmpWriterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/sarvik_bmp_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    dir_ = pattern;
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string path(const char* name) const { return (dir_ / name).string(); }

  static Bytes readFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  static typedefSarvikFrame frameOf(uint32_t width, uint32_t height, Bytes& pixels) {
    typedefSarvikFrame frame{};
    frame.pixelType = 0;
    frame.streamType = 1;
    frame.width = width;
    frame.height = height;
    frame.dataSize = static_cast<uint32_t>(pixels.size());
    frame.data = pixels.data();
    return frame;
  }

  fs::path dir_;
};

// Fourteen digits, then ".bmp".
bool isTimestampName(const std::string& name) {
  if (name.size() != 18 || name.compare(14, 4, ".bmp") != 0) return false;
  for (size_t i = 0; i < 14; ++i) {
    if (name[i] < '0' || name[i] > '9') return false;
  }
  return true;
}

uint32_t le32(const Bytes& b, size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}

TEST_F(BmpWriterTest, TwoByTwoFrameGivesTheExact66ByteFileReplacingAnyOldOne) {
  Bytes pixels = {1, 2, 3, 4, 5, 6,  // top row
                  7, 8, 9, 10, 11, 12};
  std::ofstream(path("a.bmp")) << std::string(1000, 'x');
  ASSERT_EQ(0, sarvik::writeBmpSnapshot(path("a.bmp").c_str(), frameOf(2, 2, pixels), 12));
  const Bytes expected = {
      0x42, 0x4D, 66, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,  // file header
      40, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0, 0, 0, 0, 0, 12, 0, 0, 0,
      0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // resolution and colour counts
      9, 8, 7, 12, 11, 10,                             // bottom row first, bytes reversed
      3, 2, 1, 6, 5, 4};
  EXPECT_EQ(expected, readFile(path("a.bmp")));
}

TEST_F(BmpWriterTest, RowsAreTightAndFlippedForAnyWidth) {
  for (uint32_t width : {1u, 3u, 5u, 7u}) {
    const uint32_t height = 3;
    Bytes pixels(3 * width * height);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * 7 + 1);
    const std::string file = path("w.bmp");
    ASSERT_EQ(0, sarvik::writeBmpSnapshot(file.c_str(), frameOf(width, height, pixels), 1u << 20));
    const Bytes bytes = readFile(file);
    ASSERT_EQ(54 + pixels.size(), bytes.size()) << width;
    EXPECT_EQ(bytes.size(), le32(bytes, 2));
    EXPECT_EQ(pixels.size(), le32(bytes, 34));
    for (uint32_t r = 0; r < height; ++r) {
      for (uint32_t c = 0; c < width; ++c) {
        const size_t src = 3 * ((height - 1 - r) * width + c);
        const size_t dst = 54 + 3 * (r * width + c);
        EXPECT_EQ(pixels[src + 2], bytes[dst]);
        EXPECT_EQ(pixels[src + 1], bytes[dst + 1]);
        EXPECT_EQ(pixels[src], bytes[dst + 2]);
      }
    }
  }
}

TEST_F(BmpWriterTest, RefusedFramesWriteNothingAndKeepTheLastError) {
  Bytes pixels(12, 0);
  typedefSarvikFrame notRgb = frameOf(2, 2, pixels);
  notRgb.pixelType = 1;
  typedefSarvikFrame wraps32 = frameOf(65536, 65536, pixels);  // 3 x w x h is 3 x 2^32
  typedefSarvikFrame headerWraps = frameOf(1431655748, 1, pixels);  // pixels fit 32 bits, pixels + 54 do not
  typedefSarvikFrame pastBuffer = frameOf(2, 2, pixels);

  *sarvik::lastErrorCell() = 0x1234;
  const std::string file = path("refused.bmp");
  EXPECT_EQ(-8, sarvik::writeBmpSnapshot(file.c_str(), notRgb, 12));
  EXPECT_EQ(-8, sarvik::writeBmpSnapshot(file.c_str(), wraps32, UINT32_MAX));
  EXPECT_EQ(-8, sarvik::writeBmpSnapshot(file.c_str(), headerWraps, UINT32_MAX));
  EXPECT_EQ(-8, sarvik::writeBmpSnapshot(file.c_str(), pastBuffer, 11));
  EXPECT_FALSE(fs::exists(file));
  EXPECT_EQ(0x1234u, *sarvik::lastErrorCell());
}

TEST_F(BmpWriterTest, UncreatableFileFailsWithBadArgument) {
  Bytes pixels(12, 0);
  *sarvik::lastErrorCell() = 0;
  const std::string file = path("missing/dir/x.bmp");
  EXPECT_EQ(-4, sarvik::writeBmpSnapshot(file.c_str(), frameOf(2, 2, pixels), 12));
  EXPECT_EQ(sarvik::kErrBadArgument, *sarvik::lastErrorCell());
  EXPECT_FALSE(fs::exists(path("missing")));
}

// A folder, or a file another writer holds (say a recorder of this process),
// is not replaced.
TEST_F(BmpWriterTest, AFolderOrAHeldFileIsNotReplaced) {
  Bytes pixels(12, 7);
  EXPECT_EQ(-4, sarvik::writeBmpSnapshot(dir_.c_str(), frameOf(2, 2, pixels), 12));
  EXPECT_TRUE(fs::is_directory(dir_));

  const std::string held = path("held.bmp");
  sarvik::FileImpl writer;
  ASSERT_EQ(0, writer.open(held.c_str(), false, false, false));
  ASSERT_EQ(3, writer.write("abc", 3));
  writer.flush();
  *sarvik::lastErrorCell() = 0;
  EXPECT_EQ(-4, sarvik::writeBmpSnapshot(held.c_str(), frameOf(2, 2, pixels), 12));
  EXPECT_EQ(sarvik::kErrBadArgument, *sarvik::lastErrorCell());
  EXPECT_EQ(Bytes({'a', 'b', 'c'}), readFile(held));
}

TEST_F(BmpWriterTest, NullOrEmptyNameWritesATimestampNameInTheCurrentDirectory) {
  const fs::path previous = fs::current_path();
  Bytes pixels(12, 0);
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    const fs::path sub = dir_ / (name == nullptr ? "null" : "empty");
    fs::create_directory(sub);
    fs::current_path(sub);
    const int32_t result = sarvik::writeBmpSnapshot(name, frameOf(2, 2, pixels), 12);
    fs::current_path(previous);
    ASSERT_EQ(0, result);
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(sub)) names.push_back(entry.path().filename());
    ASSERT_EQ(1u, names.size());
    EXPECT_TRUE(isTimestampName(names[0])) << names[0];
    EXPECT_EQ(66u, fs::file_size(sub / names[0]));
  }
}

TEST(BmpDefaultName, PadsEveryFieldButTheYear) {
  std::tm t{};
  t.tm_year = 2024 - 1900;
  t.tm_mon = 2;
  t.tm_mday = 5;
  t.tm_hour = 7;
  t.tm_min = 0;
  t.tm_sec = 9;
  char name[sarvik::kBmpNameSize];
  sarvik::bmpDefaultName(t, name);
  EXPECT_STREQ("20240305070009.bmp", name);
}

}  // namespace
