// The record-file reader against files written byte by byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/scratch_folder.h"
#include "tools/record_file.h"
#include "tools/record_summary.h"

namespace sarvik {
namespace tools {
namespace {

class RecordFileTest : public ::testing::Test {
 protected:
  std::string write(const std::vector<uint8_t>& bytes, const char* name = "file.rec") {
    writeWholeFile(m_folder.file(name), bytes);
    return m_folder.file(name);
  }

  // Reads all entries from `path`; the reader is left at its stop.
  std::vector<RecordEntry> readAll(RecordFileReader* reader, const std::string& path, uint64_t start = 0) {
    std::string error;
    EXPECT_TRUE(reader->open(path, start, &error)) << error;
    std::vector<RecordEntry> entries;
    RecordEntry entry;
    while (reader->next(&entry)) entries.push_back(entry);
    return entries;
  }

  ScratchFolder m_folder;
};

TEST_F(RecordFileTest, DecodesEveryTagFieldLittleEndianAtItsOffset) {
  RecordBytes b;
  b.u16(0x0220).u32(0x01020304).u64(0x1122334455667788ull).u32(2).u32(0xA0B0C0D0).u32(0x0E0F1011);
  const RecordTag tag = decodeRecordTag(b.bytes.data());
  EXPECT_EQ(+tag.streamType, 0x0220);
  EXPECT_EQ(+tag.frameIndex, 0x01020304u);
  EXPECT_EQ(+tag.frameStamp, 0x1122334455667788ull);
  EXPECT_EQ(+tag.dataSize, 2u);
  EXPECT_EQ(+tag.width, 0xA0B0C0D0u);
  EXPECT_EQ(+tag.height, 0x0E0F1011u);
}

TEST_F(RecordFileTest, InterleavedStreamsKeepTheirOwnTagsAndData) {
  RecordBytes b;
  b.entry(2, 0, 100, 4, 2, 16, 0)
      .entry(1, 0, 110, 2, 1, 6, 100)
      .entry(2, 1, 133, 4, 2, 16, 16)
      .entry(1, 1, 143, 2, 1, 6, 106);
  const std::string path = write(b.bytes);
  RecordFileReader reader;
  const std::vector<RecordEntry> entries = readAll(&reader, path);
  ASSERT_EQ(entries.size(), 4u);
  EXPECT_EQ(reader.problem().kind, RecordDamage::kNone);
  EXPECT_EQ(reader.position(), reader.fileSize());
  EXPECT_EQ(+entries[2].tag.frameIndex, 1u);
  EXPECT_EQ(+entries[2].tag.frameStamp, 133u);
  const uint16_t types[] = {2, 1, 2, 1};
  const uint64_t offsets[] = {0, 42, 74, 116};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(+entries[i].tag.streamType, types[i]) << i;
    EXPECT_EQ(entries[i].offset, offsets[i]) << i;
  }
  std::vector<uint8_t> data;
  std::string error;
  ASSERT_TRUE(reader.readData(entries[3], &data, &error));
  EXPECT_EQ(data, std::vector<uint8_t>({106, 107, 108, 109, 110, 111}));
  ASSERT_TRUE(reader.readData(entries[0], &data, &error));
  EXPECT_EQ(data.size(), 16u);
  EXPECT_EQ(data[15], 15);

  RecordSummary summary;
  for (const RecordEntry& e : entries) summary.add(e.tag);
  ASSERT_EQ(summary.streams().size(), 2u);
  EXPECT_EQ(summary.streams().at(1).frames, 2u);
  EXPECT_EQ(summary.streams().at(1).bytes, 12u);
  EXPECT_EQ(summary.streams().at(2).lastIndex, 1u);
  EXPECT_EQ(summary.streams().at(2).gaps, 0u);
  EXPECT_EQ(formatImageSizes(summary.streams().at(2)), "4x2");
}

TEST_F(RecordFileTest, FileCutInsideATagIsReportedAtThatTagsOffset) {
  RecordBytes b;
  b.entry(2, 0, 100, 2, 2, 8);
  b.u16(2).u32(1).u32(0);  // 10 bytes of the next tag
  RecordFileReader reader;
  EXPECT_EQ(readAll(&reader, write(b.bytes)).size(), 1u);
  const RecordProblem& p = reader.problem();
  EXPECT_EQ(p.kind, RecordDamage::kTruncatedTag);
  EXPECT_EQ(p.offset, 34u);
  EXPECT_EQ(p.describe(), "truncated tag at byte 34: 10 of 26 bytes present");
  EXPECT_EQ(reader.position(), 34u);
}

TEST_F(RecordFileTest, FileCutInsideDataIsReportedAtThatTagsOffset) {
  RecordBytes b;
  b.entry(1, 0, 100, 2, 2, 12);
  b.entry(1, 1, 200, 2, 2, 12);
  b.bytes.resize(b.bytes.size() - 5);
  RecordFileReader reader;
  EXPECT_EQ(readAll(&reader, write(b.bytes)).size(), 1u);
  EXPECT_EQ(reader.problem().kind, RecordDamage::kTruncatedData);
  EXPECT_EQ(reader.problem().describe(), "truncated data at byte 38: the tag announces 12 bytes, 7 follow");
}

// Huge sizes must not be trusted for an allocation, and a tag no recorder
// writes means the bytes are not (or no longer) a recording. Either way the
// reader stays stopped: after garbage it cannot find the next entry.
TEST_F(RecordFileTest, TagsThatMakeNoSenseAreInconsistentNotACrash) {
  const struct {
    uint16_t type;
    uint32_t width, height, dataSize;
    const char* why;
  } cases[] = {
      {2, 2, 2, 0xFFFFFFFFu, "data size is not width x height x bytes per pixel"},
      {2, 2, 2, 0, "data size is not width x height x bytes per pixel"},
      {19778, 2, 2, 8, "unknown stream type"},  // "BM", the start of a BMP
      {2, 65536, 65536, 12, "image size out of range"},
      {2, 0, 4, 8, "image size out of range"},
      {1, 2, 2, 8, "colour entry is not 3 bytes a pixel"},
      {2, 2, 2, 12, "depth entry is not 2 bytes a pixel"},
      {4, 2, 2, 12, "infrared entry of 3 bytes a pixel"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    RecordBytes b;
    b.entry(2, 0, 100, 2, 2, 8);
    b.u16(c.type).u32(1).u64(200).u32(c.dataSize).u32(c.width).u32(c.height);
    b.entry(2, 2, 300, 2, 2, 8);
    RecordFileReader reader;
    EXPECT_EQ(readAll(&reader, write(b.bytes)).size(), 1u);
    EXPECT_EQ(reader.problem().kind, RecordDamage::kInconsistentTag);
    EXPECT_EQ(reader.problem().offset, 34u);
    EXPECT_NE(reader.problem().describe().find(std::string("inconsistent tag at byte 34: ") + c.why),
              std::string::npos)
        << reader.problem().describe();
    RecordEntry entry;
    EXPECT_FALSE(reader.next(&entry));
  }
}

TEST_F(RecordFileTest, RandomBytesNeverReadAsFrames) {
  // A fixed generator: the same bytes every run.
  uint32_t state = 12345;
  for (int round = 0; round < 200; ++round) {
    std::vector<uint8_t> bytes(26 + round * 7);
    for (uint8_t& byte : bytes) {
      state = state * 1664525u + 1013904223u;
      byte = static_cast<uint8_t>(state >> 24);
    }
    RecordFileReader reader;
    std::vector<RecordEntry> entries = readAll(&reader, write(bytes));
    for (const RecordEntry& entry : entries) {
      EXPECT_EQ(sarvikRecordTagProblem(entry.tag, UINT64_MAX), nullptr);
      EXPECT_LE(entry.offset + kRecordTagBytes + entry.tag.dataSize, reader.fileSize());
    }
  }
}

TEST_F(RecordFileTest, ScanResumedAtTheLastWholeEntrySeesOnlyWhatWasAppended) {
  RecordBytes b;
  b.entry(2, 0, 100, 2, 2, 8).entry(2, 1, 200, 2, 2, 8);
  const size_t whole = b.bytes.size();
  b.entry(2, 2, 300, 2, 2, 8);
  std::vector<uint8_t> growing(b.bytes.begin(), b.bytes.begin() + static_cast<std::ptrdiff_t>(whole + 30));
  const std::string path = write(growing);

  RecordFileReader first;
  EXPECT_EQ(readAll(&first, path).size(), 2u);
  EXPECT_EQ(first.problem().kind, RecordDamage::kTruncatedData);
  EXPECT_EQ(first.position(), whole);

  write(b.bytes);
  RecordFileReader second;
  const std::vector<RecordEntry> appended = readAll(&second, path, first.position());
  ASSERT_EQ(appended.size(), 1u);
  EXPECT_EQ(+appended[0].tag.frameIndex, 2u);
  EXPECT_EQ(second.problem().kind, RecordDamage::kNone);
}

TEST_F(RecordFileTest, EmptyFileIsCleanButAMissingOneIsAnErrorNamingThePath) {
  RecordFileReader empty;
  EXPECT_TRUE(readAll(&empty, write({})).empty());
  EXPECT_EQ(empty.problem().kind, RecordDamage::kNone);

  RecordFileReader reader;
  std::string error;
  EXPECT_FALSE(reader.open(m_folder.file("absent.rec"), 0, &error));
  EXPECT_NE(error.find("absent.rec"), std::string::npos);
  RecordEntry entry;
  EXPECT_FALSE(reader.next(&entry));
}

TEST(RecordSummaryTest, IndexJumpsAreGapsAndFallsAreRestarts) {
  RecordSummary summary;
  const uint32_t indices[] = {0, 1, 3, 7, 0, 1};
  uint64_t stamp = 1000000;
  for (uint32_t index : indices) {
    RecordTag tag{};
    tag.streamType = 2;
    tag.frameIndex = index;
    tag.frameStamp = stamp;
    tag.dataSize = index == 7 ? 10 : 20;
    tag.width = 2;
    tag.height = index == 7 ? 1 : 5;
    summary.add(tag);
    stamp += 50000;  // 20 frames a second
  }
  const StreamSummary& s = summary.streams().at(2);
  EXPECT_EQ(s.frames, 6u);
  EXPECT_EQ(s.gaps, 2u);
  EXPECT_EQ(s.missing, 4u);
  EXPECT_EQ(s.restarts, 1u);
  EXPECT_EQ(s.firstIndex, 0u);
  EXPECT_EQ(s.lastIndex, 1u);
  EXPECT_EQ(s.minDataSize, 10u);
  EXPECT_EQ(s.maxDataSize, 20u);
  EXPECT_EQ(formatImageSizes(s), "2x5, 2x1");
  EXPECT_DOUBLE_EQ(s.rate(), 20.0);
}

TEST(RecordSummaryTest, RateNeedsTwoFramesAndElapsedTime) {
  RecordSummary summary;
  RecordTag tag{};
  tag.streamType = 1;
  tag.frameStamp = 500;
  summary.add(tag);
  EXPECT_EQ(summary.streams().at(1).rate(), 0.0);
  tag.frameIndex = 1;
  summary.add(tag);
  EXPECT_EQ(summary.streams().at(1).rate(), 0.0);
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
