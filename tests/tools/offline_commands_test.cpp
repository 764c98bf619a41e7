// The subcommands that work on files alone, run as the program runs them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/scratch_folder.h"

namespace sarvik {
namespace tools {
namespace {

class OfflineCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_bytes.entry(1, 0, 1000000, 2, 1, 6, 0x01)
        .entry(4, 0, 1000000, 3, 1, 3, 'a')
        .entry(4, 1, 1033333, 3, 1, 3, 'd')
        .entry(1, 2, 1066666, 2, 1, 6, 0x11);
  }

  std::string save(const std::vector<uint8_t>& bytes) {
    writeWholeFile(m_folder.file("in.rec"), bytes);
    return m_folder.file("in.rec");
  }

  int inspect(const std::string& path, std::string* output) {
    CommandLine line;
    line.command = Command::kInspect;
    line.file = path;
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int exitCode = runInspect(line);
    *output = ::testing::internal::GetCapturedStdout() + ::testing::internal::GetCapturedStderr();
    return exitCode;
  }

  int exportFrame(uint32_t type, uint32_t index, const std::string& out) {
    CommandLine line;
    line.command = Command::kExport;
    line.file = save(m_bytes.bytes);
    line.exportType = type;
    line.index = index;
    line.output = m_folder.file(out);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int exitCode = runExport(line);
    ::testing::internal::GetCapturedStdout();
    m_errors = ::testing::internal::GetCapturedStderr();
    return exitCode;
  }

  ScratchFolder m_folder;
  RecordBytes m_bytes;
  std::string m_errors;
};

TEST_F(OfflineCommandsTest, InspectOfACleanFileReportsEachStreamAndExitsZero) {
  std::string output;
  EXPECT_EQ(inspect(save(m_bytes.bytes), &output), 0);
  EXPECT_NE(output.find("4 frames"), std::string::npos) << output;
  EXPECT_NE(output.find("color (type 1): 2 frames, frameIndex 0..2"), std::string::npos) << output;
  EXPECT_NE(output.find("gaps 1 (1 frames missing)"), std::string::npos) << output;
  EXPECT_NE(output.find("ir (type 4): 2 frames, frameIndex 0..1"), std::string::npos) << output;
  EXPECT_NE(output.find("file is clean"), std::string::npos) << output;
}

TEST_F(OfflineCommandsTest, InspectOfADamagedFileNamesTheOffsetAndExitsOne) {
  std::string output;
  EXPECT_EQ(inspect(save({m_bytes.bytes.begin(), m_bytes.bytes.end() - 3}), &output), 1);
  // Entries of 32, 29 and 29 bytes precede the cut one.
  EXPECT_NE(output.find("truncated data at byte 90"), std::string::npos) << output;
  EXPECT_EQ(inspect(save({}), &output), 0);
  EXPECT_EQ(inspect(m_folder.file("missing.rec"), &output), 1);
  EXPECT_NE(output.find("missing.rec"), std::string::npos) << output;
}

TEST_F(OfflineCommandsTest, ColourFrameIsExportedAsBmpAndOthersAsRawBytes) {
  ASSERT_EQ(exportFrame(1, 2, "c.bmp"), 0) << m_errors;
  const std::string bmp = readFile(m_folder.file("c.bmp"));
  ASSERT_EQ(bmp.size(), 54u + 8u);
  EXPECT_EQ(bmp.substr(54), std::string("\x13\x12\x11\x16\x15\x14\x00\x00", 8));

  ASSERT_EQ(exportFrame(4, 1, "ir.raw"), 0) << m_errors;
  EXPECT_EQ(readFile(m_folder.file("ir.raw")), "def");
}

TEST_F(OfflineCommandsTest, ExportOfAFrameTheFileLacksFails) {
  EXPECT_EQ(exportFrame(1, 1, "x.bmp"), 1);
  EXPECT_NE(m_errors.find("no color frame with index 1"), std::string::npos) << m_errors;
  EXPECT_EQ(exportFrame(32, 0, "x.raw"), 1);
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
