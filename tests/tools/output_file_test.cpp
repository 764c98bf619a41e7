// Files the program writes: never half written under their own name, never
// silently overwritten, and every failed write reported.
#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "sarvik/SarvikTypes.h"
#include "tools/image_files.h"
#include "tools/output_file.h"
#include "tools/png_reader.h"
#include "tools/png_writer.h"
#include "tools/scratch_folder.h"

namespace sarvik {
namespace tools {
namespace {

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return names;
  while (dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(dir);
  return names;
}

TEST(OutputFileTest, CommittedFileAppearsWholeAndNothingElseStays) {
  ScratchFolder folder;
  OutputFile file;
  ASSERT_TRUE(file.open(folder.file("out.bin"), false)) << file.error();
  ASSERT_TRUE(file.write("abc", 3));
  // Before the commit the target does not exist yet; a temporary does.
  EXPECT_EQ(access(folder.file("out.bin").c_str(), F_OK), -1);
  EXPECT_EQ(namesIn(folder.path()).size(), 1u);
  ASSERT_TRUE(file.commit()) << file.error();
  EXPECT_EQ(readFile(folder.file("out.bin")), "abc");
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>({"out.bin"}));
  struct stat st;
  ASSERT_EQ(stat(folder.file("out.bin").c_str(), &st), 0);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(st.st_mode & 0777, 0666 & ~mask);
}

TEST(OutputFileTest, AbandonedFileLeavesNoTrace) {
  ScratchFolder folder;
  {
    OutputFile file;
    ASSERT_TRUE(file.open(folder.file("out.bin"), false));
    ASSERT_TRUE(file.write("abc", 3));
  }
  EXPECT_TRUE(namesIn(folder.path()).empty());
}

TEST(OutputFileTest, ExistingFileNeedsForceAndFoldersAndMissingFoldersAreRefused) {
  ScratchFolder folder;
  writeWholeFile(folder.file("old.bin"), {'o', 'l', 'd'});
  OutputFile file;
  EXPECT_FALSE(file.open(folder.file("old.bin"), false));
  EXPECT_NE(file.error().find("exists; --force overwrites it"), std::string::npos) << file.error();
  EXPECT_EQ(readFile(folder.file("old.bin")), "old");
  ASSERT_TRUE(file.open(folder.file("old.bin"), true));
  ASSERT_TRUE(file.write("new", 3));
  ASSERT_TRUE(file.commit());
  EXPECT_EQ(readFile(folder.file("old.bin")), "new");

  EXPECT_FALSE(file.open(folder.path(), true));
  EXPECT_NE(file.error().find("is a folder"), std::string::npos) << file.error();
  EXPECT_FALSE(file.open(folder.file("missing/x.bin"), false));
  EXPECT_NE(file.error().find("does not exist"), std::string::npos) << file.error();
  EXPECT_FALSE(file.open("", false));
  EXPECT_FALSE(file.write("x", 1));
  EXPECT_FALSE(file.commit());
}

TEST(OutputFileTest, LongNamesStillGetATemporaryBesideThem) {
  ScratchFolder folder;
  const std::string name(250, 'n');
  OutputFile file;
  ASSERT_TRUE(file.open(folder.file(name), false)) << file.error();
  ASSERT_TRUE(file.write("x", 1));
  ASSERT_TRUE(file.commit()) << file.error();
  EXPECT_EQ(readFile(folder.file(name)), "x");
  // Past the file system's limit for one name: refused with a message, no crash.
  const std::string tooLong(300, 'n');
  EXPECT_FALSE(file.open(folder.file(tooLong), false));
  EXPECT_FALSE(file.error().empty());
}

TEST(OutputFileTest, DevicesAreWrittenInPlaceAndAFullOneIsReported) {
  OutputFile null;
  ASSERT_TRUE(null.open("/dev/null", false)) << null.error();
  EXPECT_TRUE(null.inPlace());
  EXPECT_TRUE(null.write("abc", 3));
  EXPECT_TRUE(null.commit());
  struct stat st;
  ASSERT_EQ(stat("/dev/null", &st), 0);
  EXPECT_TRUE(S_ISCHR(st.st_mode));

  std::string error;
  EXPECT_FALSE(checkOutputPath("/dev/full", false, &error));
  EXPECT_NE(error.find("No space left on device"), std::string::npos) << error;
  OutputFile full;
  EXPECT_FALSE(full.open("/dev/full", false));
}

TEST(OutputFileTest, FifoWithoutReaderIsAcceptedWithoutBlocking) {
  ScratchFolder folder;
  const std::string fifo = folder.file("pipe");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string error;
  EXPECT_TRUE(checkOutputPath(fifo, false, &error)) << error;
  EXPECT_TRUE(isSpecialFile(fifo));
}

// A file size limit stands in for a full disk: the write that meets it
// fails, the error names the cause, and nothing is left under the name.
TEST(OutputFileTest, WriteBeyondTheFileSizeLimitFailsAndLeavesNothing) {
  ScratchFolder folder;
  const std::string path = folder.file("big.bin");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::vector<char> block(10000, 'x');
    OutputFile file;
    if (!file.open(path, false)) _exit(10);
    if (file.write(block.data(), block.size())) _exit(11);
    if (file.error().find("File too large") == std::string::npos) _exit(12);
    if (file.commit()) _exit(13);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_TRUE(namesIn(folder.path()).empty());
}

TEST(PngWriterTest, EveryWidthReadsBackExactlyThroughLibpng) {
  ScratchFolder folder;
  for (uint32_t width : {1u, 2u, 3u, 5u, 7u, 641u}) {
    SCOPED_TRACE(width);
    const uint32_t height = 3;
    std::vector<uint8_t> rgb(width * height * 3);
    for (size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<uint8_t>(i * 7);
    FrameImage image{rgb.data(), width, height, 3};
    std::vector<uint8_t> bytes;
    std::string error;
    ASSERT_TRUE(encodeImage(FileFormat::kPng, image, &bytes, &error)) << error;
    ASSERT_TRUE(saveFile(folder.file("c.png"), true, bytes, &error)) << error;
    const DecodedPng png = readPngFile(folder.file("c.png"));
    ASSERT_TRUE(png.ok);
    EXPECT_EQ(png.width, width);
    EXPECT_EQ(png.height, height);
    EXPECT_EQ(png.bitDepth, 8);
    EXPECT_EQ(png.pixels, rgb);
  }
}

TEST(PngWriterTest, GreyImagesKeepTheirDepth) {
  ScratchFolder folder;
  const uint8_t grey[] = {0, 128, 255};
  std::vector<uint8_t> bytes;
  std::string error;
  ASSERT_TRUE(encodePng(grey, 3, 1, PngPixels::kGray8, &bytes, &error)) << error;
  ASSERT_TRUE(saveFile(folder.file("g.png"), false, bytes, &error));
  DecodedPng png = readPngFile(folder.file("g.png"));
  EXPECT_EQ(png.bitDepth, 8);
  EXPECT_EQ(png.pixels, std::vector<uint8_t>(grey, grey + 3));

  const uint16_t depth[] = {0, 0x1234, 0xFFFF};
  ASSERT_TRUE(encodePng(reinterpret_cast<const uint8_t*>(depth), 3, 1, PngPixels::kGray16, &bytes, &error));
  ASSERT_TRUE(saveFile(folder.file("d.png"), false, bytes, &error));
  png = readPngFile(folder.file("d.png"));
  EXPECT_EQ(png.bitDepth, 16);
  EXPECT_EQ(png.pixels, std::vector<uint8_t>({0, 0, 0x12, 0x34, 0xFF, 0xFF}));

  EXPECT_FALSE(encodePng(nullptr, 3, 1, PngPixels::kGray8, &bytes, &error));
  EXPECT_FALSE(encodePng(grey, 0, 1, PngPixels::kGray8, &bytes, &error));
}

TEST(ImageFilesTest, FormatsFollowTheExtensionAndTheStreamType) {
  EXPECT_EQ(fileFormatOf("a/b.PNG"), FileFormat::kPng);
  EXPECT_EQ(fileFormatOf("x.ply"), FileFormat::kPly);
  EXPECT_EQ(fileFormatOf("dir.png/file"), FileFormat::kUnknown);
  EXPECT_EQ(fileFormatOf("noextension"), FileFormat::kUnknown);
  EXPECT_TRUE(formatFits(SARVIK_STREAM_COLOR, FileFormat::kBmp));
  EXPECT_FALSE(formatFits(SARVIK_STREAM_COLOR, FileFormat::kPgm));
  EXPECT_TRUE(formatFits(SARVIK_STREAM_DEPTH, FileFormat::kPly));
  EXPECT_FALSE(formatFits(SARVIK_STREAM_IR, FileFormat::kPly));
  EXPECT_TRUE(formatFits(SARVIK_STREAM_LIGHT_IR, FileFormat::kPgm));

  const uint16_t samples[] = {0x0102, 0xA0B0};
  FrameImage grey16{reinterpret_cast<const uint8_t*>(samples), 2, 1, 2};
  std::vector<uint8_t> bytes;
  std::string error;
  ASSERT_TRUE(encodeImage(FileFormat::kPgm, grey16, &bytes, &error));
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), std::string("P5\n2 1\n65535\n\x01\x02\xA0\xB0", 17));
  EXPECT_FALSE(encodeImage(FileFormat::kBmp, grey16, &bytes, &error));
  EXPECT_NE(error.find("cannot be written as bmp"), std::string::npos);
  FrameImage empty;
  EXPECT_FALSE(encodeImage(FileFormat::kRaw, empty, &bytes, &error));
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
