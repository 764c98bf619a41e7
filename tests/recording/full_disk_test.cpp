// Recording onto a disk that fills up, through the application's interface.
// The file size limit of the process (RLIMIT_FSIZE, with SIGXFSZ ignored) is
// the full disk: portable, and no mount needed. It holds for this program
// only, which runs alone for that reason.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "context/stream_test_support.h"
#include "tools/record_file.h"

namespace sarvik_test {
namespace {

using sarvik::tools::RecordDamage;
using sarvik::tools::RecordEntry;
using sarvik::tools::RecordFileReader;

constexpr uint32_t kFrameBytes = 50 * 30 * 2;
constexpr uint32_t kEntryBytes = 26 + kFrameBytes;
constexpr rlim_t kDiskBytes = 3 * kEntryBytes + 900;  // three whole entries and part of a fourth

class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &m_saved);
    m_savedHandler = signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = m_saved;
    limit.rlim_cur = bytes;
    m_set = setrlimit(RLIMIT_FSIZE, &limit) == 0;
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &m_saved);
    signal(SIGXFSZ, m_savedHandler);
  }
  bool set() const { return m_set; }

 private:
  struct rlimit m_saved {};
  sighandler_t m_savedHandler = SIG_DFL;
  bool m_set = false;
};

int64_t fileSize(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

class FullDisk : public StreamTest {};

TEST_F(FullDisk, EachFailedWriteIsReportedAndTheFileReadsToItsLastWholeEntry) {
  load();
  uvc().setDevices({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB)});
  uvc().setFrameGeometry(50, 30, 2);
  ASSERT_EQ(0, ctx()->initialize());
  sarvik::Device* camera = open("usb://0");
  sarvik::VideoStream* stream = openStream(camera, SARVIK_STREAM_DEPTH);
  const std::string path = folder() + "/full.rec";
  sarvik::StreamRecorder* recorder = nullptr;
  ASSERT_EQ(0, ctx()->createRecorder(path.c_str(), &recorder));
  ASSERT_EQ(0, ctx()->attachStreamToRecorder(recorder, stream));
  ASSERT_EQ(0, ctx()->startRecorder(recorder));

  constexpr int kFrames = 7;
  {
    FileSizeLimit limit(kDiskBytes);
    ASSERT_TRUE(limit.set());
    for (int i = 0; i < kFrames; ++i) {
      const int64_t before = fileSize(path);
      const size_t failuresBefore = log().countContaining("write Data failed, errno:0x");
      ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
      // Each frame either grows the file by a whole entry or is reported.
      ASSERT_TRUE(waitUntil([&] {
        return fileSize(path) >= before + kEntryBytes ||
               log().countContaining("write Data failed, errno:0x") > failuresBefore;
      })) << "frame " << i;
    }
    EXPECT_EQ(0, ctx()->stopRecorder(recorder));
    EXPECT_EQ(0, ctx()->destroyRecorder(recorder));
  }

  // Frames 4 to 7 met the full disk: each data write is reported, and so is
  // every tag that found no room at all.
  EXPECT_EQ(4u, log().count(2, "write Data failed, errno:0x1b"));
  EXPECT_EQ(3u, log().count(2, "write FrameTag failed, errno:0x1b"));

  RecordFileReader reader;
  std::string error;
  ASSERT_TRUE(reader.open(path, 0, &error)) << error;
  RecordEntry entry;
  std::vector<uint8_t> data;
  uint32_t whole = 0;
  while (reader.next(&entry)) {
    ASSERT_TRUE(reader.readData(entry, &data, &error)) << error;
    const uint32_t frameIndex = entry.tag.frameIndex;  // the tag is packed: copy, never bind
    EXPECT_EQ(whole, frameIndex);
    ASSERT_EQ(kFrameBytes, data.size());
    EXPECT_EQ(std::vector<uint8_t>(kFrameBytes, static_cast<uint8_t>(whole + 1)), data) << "entry " << whole;
    ++whole;
  }
  EXPECT_EQ(3u, whole);
  EXPECT_EQ(RecordDamage::kTruncatedData, reader.problem().kind);
  EXPECT_EQ(3u * kEntryBytes, reader.position());
}

}  // namespace
}  // namespace sarvik_test
