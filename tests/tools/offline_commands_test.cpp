// The subcommands that work on files alone, run as the program runs them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/png_reader.h"
#include "tools/scratch_folder.h"

namespace sarvik {
namespace tools {
namespace {

class OfflineCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // Colour 2x1 (frame 1 dropped), infrared 3x1 of one byte, depth 3x1.
    m_bytes.entry(1, 0, 1000000, 2, 1, 6, 0x01)
        .entry(4, 0, 1000000, 3, 1, 3, 'a')
        .entry(4, 1, 1033333, 3, 1, 3, 'd')
        .entry(1, 2, 1066666, 2, 1, 6, 0x11)
        .entry(2, 0, 1000000, 3, 1, 6, 0x10)
        .entry(2, 1, 1033333, 3, 1, 6, 0x20);
  }

  std::string save(const std::vector<uint8_t>& bytes) {
    writeWholeFile(m_folder.file("in.rec"), bytes);
    return m_folder.file("in.rec");
  }

  int inspect(const std::string& path, std::string* output, bool json = false) {
    CommandLine line;
    line.command = Command::kInspect;
    line.file = path;
    line.json = json;
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int exitCode = runInspect(line);
    *output = ::testing::internal::GetCapturedStdout() + ::testing::internal::GetCapturedStderr();
    return exitCode;
  }

  int exportFrames(uint32_t type, uint32_t first, uint32_t last, const std::string& out, bool all = false,
                   bool force = false) {
    CommandLine line;
    line.command = Command::kExport;
    line.file = save(m_bytes.bytes);
    line.exportType = type;
    line.firstIndex = first;
    line.lastIndex = last;
    line.allFrames = all;
    line.force = force;
    line.output = m_folder.file(out);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int exitCode = runExport(line);
    m_output = ::testing::internal::GetCapturedStdout();
    m_errors = ::testing::internal::GetCapturedStderr();
    return exitCode;
  }

  ScratchFolder m_folder;
  RecordBytes m_bytes;
  std::string m_output;
  std::string m_errors;
};

TEST_F(OfflineCommandsTest, InspectOfACleanFileReportsEachStreamAndExitsZero) {
  std::string output;
  EXPECT_EQ(inspect(save(m_bytes.bytes), &output), 0);
  EXPECT_NE(output.find("6 frames"), std::string::npos) << output;
  EXPECT_NE(output.find("color (type 1): 2 frames, frameIndex 0..2"), std::string::npos) << output;
  EXPECT_NE(output.find("gaps 1 (1 frames missing)"), std::string::npos) << output;
  EXPECT_NE(output.find("ir (type 4): 2 frames, frameIndex 0..1"), std::string::npos) << output;
  EXPECT_NE(output.find("file is clean"), std::string::npos) << output;

  EXPECT_EQ(inspect(save(m_bytes.bytes), &output, true), 0);
  EXPECT_NE(output.find("\"verdict\": \"clean\""), std::string::npos) << output;
  EXPECT_NE(output.find("\"missing\": 1"), std::string::npos) << output;
}

TEST_F(OfflineCommandsTest, InspectOfADamagedFileNamesTheOffsetAndExitsOne) {
  std::string output;
  EXPECT_EQ(inspect(save({m_bytes.bytes.begin(), m_bytes.bytes.end() - 3}), &output), 1);
  // Entries of 32, 29, 29, 32 and 32 bytes precede the cut one.
  EXPECT_NE(output.find("truncated data at byte 154"), std::string::npos) << output;
  EXPECT_EQ(inspect(m_folder.file("missing.rec"), &output), 1);
  EXPECT_NE(output.find("missing.rec"), std::string::npos) << output;
}

// None of these is a recording; each used to pass as one.
TEST_F(OfflineCommandsTest, InspectRefusesWhatIsNotARecordFile) {
  std::string output;
  EXPECT_EQ(inspect(save({}), &output), 1);
  EXPECT_NE(output.find("is empty"), std::string::npos) << output;

  std::vector<uint8_t> bmp = {'B', 'M', 70, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0};
  bmp.resize(70, 0);
  EXPECT_EQ(inspect(save(bmp), &output), 1);
  EXPECT_NE(output.find("not a record file"), std::string::npos) << output;
  EXPECT_NE(output.find("unknown stream type"), std::string::npos) << output;

  RecordBytes huge;
  huge.u16(2).u32(0).u64(0).u32(12).u32(65536).u32(65536);
  EXPECT_EQ(inspect(save(huge.bytes), &output), 1);
  EXPECT_NE(output.find("not a record file"), std::string::npos) << output;

  EXPECT_EQ(inspect(save(bmp), &output, true), 1);
  EXPECT_NE(output.find("\"verdict\": \"not a record file\""), std::string::npos) << output;
  EXPECT_EQ(inspect(m_folder.path(), &output), 1);  // a folder
}

TEST_F(OfflineCommandsTest, ColourIsExportedAsPngOrPaddedBmpAndOthersAsRawBytes) {
  ASSERT_EQ(exportFrames(1, 2, 2, "c.png"), 0) << m_errors;
  EXPECT_NE(m_output.find("c.png"), std::string::npos);
  const DecodedPng png = readPngFile(m_folder.file("c.png"));
  ASSERT_TRUE(png.ok);
  EXPECT_EQ(png.width, 2u);
  EXPECT_EQ(png.height, 1u);
  EXPECT_EQ(png.colourType, PNG_COLOR_TYPE_RGB);
  EXPECT_EQ(png.pixels, std::vector<uint8_t>({0x11, 0x12, 0x13, 0x14, 0x15, 0x16}));

  ASSERT_EQ(exportFrames(1, 2, 2, "c.bmp"), 0) << m_errors;
  const std::string bmp = readFile(m_folder.file("c.bmp"));
  ASSERT_EQ(bmp.size(), 54u + 8u);
  EXPECT_EQ(bmp.substr(54), std::string("\x13\x12\x11\x16\x15\x14\x00\x00", 8));

  ASSERT_EQ(exportFrames(4, 1, 1, "ir.raw"), 0) << m_errors;
  EXPECT_EQ(readFile(m_folder.file("ir.raw")), "def");
}

TEST_F(OfflineCommandsTest, DepthBecomesSixteenBitPngAndInfraredPgm) {
  ASSERT_EQ(exportFrames(2, 1, 1, "d.png"), 0) << m_errors;
  const DecodedPng png = readPngFile(m_folder.file("d.png"));
  ASSERT_TRUE(png.ok);
  EXPECT_EQ(png.colourType, PNG_COLOR_TYPE_GRAY);
  EXPECT_EQ(png.bitDepth, 16);
  // Little-endian samples 0x2120 0x2322 0x2524, stored big-endian.
  EXPECT_EQ(png.pixels, std::vector<uint8_t>({0x21, 0x20, 0x23, 0x22, 0x25, 0x24}));

  ASSERT_EQ(exportFrames(4, 0, 0, "ir.pgm"), 0) << m_errors;
  EXPECT_EQ(readFile(m_folder.file("ir.pgm")), "P5\n3 1\n255\nabc");
}

TEST_F(OfflineCommandsTest, RangeAndAllNameEachFrameAndSkipOtherTypes) {
  ASSERT_EQ(exportFrames(4, 0, 0, "all.raw", true), 0) << m_errors;
  EXPECT_EQ(readFile(m_folder.file("all-000000.raw")), "abc");
  EXPECT_EQ(readFile(m_folder.file("all-000001.raw")), "def");
  EXPECT_NE(m_output.find("exported 2 ir frames"), std::string::npos) << m_output;

  ASSERT_EQ(exportFrames(1, 1, 5, "r.png"), 0) << m_errors;
  EXPECT_TRUE(readPngFile(m_folder.file("r-000002.png")).ok);
  EXPECT_FALSE(readPngFile(m_folder.file("r-000000.png")).ok);
}

TEST_F(OfflineCommandsTest, RefusedExportsWriteNothing) {
  // A format that does not fit the type, or none at all.
  EXPECT_EQ(exportFrames(1, 0, 0, "c.pgm"), 1);
  EXPECT_NE(m_errors.find("cannot write color frames as pgm"), std::string::npos) << m_errors;
  EXPECT_EQ(exportFrames(4, 0, 0, "ir.ply"), 1);
  EXPECT_EQ(exportFrames(2, 0, 0, "d.bmp"), 1);
  EXPECT_EQ(exportFrames(2, 0, 0, "d.jpeg"), 1);
  EXPECT_NE(m_errors.find("png (16-bit), ply (point cloud) or raw"), std::string::npos) << m_errors;
  // A frame the file lacks.
  EXPECT_EQ(exportFrames(1, 1, 1, "x.png"), 1);
  EXPECT_NE(m_errors.find("no color frame with index 1"), std::string::npos) << m_errors;
  EXPECT_EQ(exportFrames(32, 0, 0, "x.raw"), 1);
  EXPECT_EQ(readFile(m_folder.file("x.png")), "");
  EXPECT_EQ(readFile(m_folder.file("x.raw")), "");

  // An existing file stays untouched without --force, and is replaced with it.
  writeWholeFile(m_folder.file("keep.raw"), {'o', 'l', 'd'});
  EXPECT_EQ(exportFrames(4, 1, 1, "keep.raw"), 1);
  EXPECT_NE(m_errors.find("exists; --force overwrites it"), std::string::npos) << m_errors;
  EXPECT_EQ(readFile(m_folder.file("keep.raw")), "old");
  EXPECT_EQ(exportFrames(4, 1, 1, "keep.raw", false, true), 0) << m_errors;
  EXPECT_EQ(readFile(m_folder.file("keep.raw")), "def");
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
