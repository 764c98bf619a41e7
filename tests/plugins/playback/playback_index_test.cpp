// The index of a record file and what it says about the file: entries and
// their offsets, modes inferred from the tags, the sidecar, and every way a
// file can fail to be one.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "plugins/playback/playback_index.h"
#include "plugins/playback/playback_modes.h"
#include "plugins/playback/playback_sidecar.h"
#include "record_maker.h"

namespace {

using playback::PlaybackIndex;
using playbacktest::EntrySpec;

TEST(PlaybackIndexTest, EveryEntryIsFoundWithTheOffsetOfItsData) {
  std::vector<uint8_t> file;
  playbacktest::appendEntry(&file, EntrySpec{SARVIK_STREAM_DEPTH, 4, 3, 2, 1000}, 0);
  playbacktest::appendEntry(&file, EntrySpec{SARVIK_STREAM_COLOR, 4, 3, 3, 1010}, 0);
  playbacktest::appendEntry(&file, EntrySpec{SARVIK_STREAM_IR, 4, 3, 1, 1020}, 0);
  PlaybackIndex index;
  ASSERT_EQ(playback::buildIndexFromMemory(file.data(), file.size(), &index), nullptr);
  ASSERT_EQ(index.entries.size(), 3u);
  EXPECT_EQ(index.entries[0].dataOffset, 26u);
  EXPECT_EQ(index.entries[1].dataOffset, 26u + 24 + 26);
  EXPECT_EQ(index.entries[2].stamp, 1020u);
  EXPECT_EQ(index.entries[2].bytesPerPixel, 1u);
  EXPECT_EQ(index.indexedBytes, file.size());
  EXPECT_TRUE(index.tailProblem.empty());
  std::vector<uint8_t> pixels = playbacktest::patternOf(EntrySpec{SARVIK_STREAM_COLOR, 4, 3, 3, 1010});
  EXPECT_EQ(std::memcmp(file.data() + index.entries[1].dataOffset, pixels.data(), pixels.size()), 0);
}

TEST(PlaybackIndexTest, FilesThatAreNoRecordFilesAreRefusedWithAReason) {
  std::vector<uint8_t> random(4096);
  std::mt19937 generator(7);
  for (auto& b : random) b = static_cast<uint8_t>(generator());
  std::vector<uint8_t> bmp(1078 + 64, 0);
  bmp[0] = 'B';
  bmp[1] = 'M';
  std::vector<uint8_t> badSize = playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 4, 3, 2, 1, 0, 0);
  badSize[14] = 23;  // dataSize no longer width x height x bytes
  std::vector<uint8_t> badType = playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 4, 3, 2, 1, 0, 0);
  badType[0] = 9;
  std::vector<uint8_t> tooLong = playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 4, 3, 2, 1, 0, 0);
  tooLong.resize(tooLong.size() - 1);  // the only entry is cut
  const std::pair<const char*, std::vector<uint8_t>> cases[] = {
      {"empty", {}},          {"shorter than a tag", std::vector<uint8_t>(25, 2)},
      {"random", random},     {"bmp", bmp},
      {"bad size", badSize},  {"bad type", badType},
      {"cut first entry", tooLong},
  };
  for (const auto& c : cases) {
    PlaybackIndex index;
    const char* problem = playback::buildIndexFromMemory(c.second.data(), c.second.size(), &index);
    EXPECT_NE(problem, nullptr) << c.first;
    EXPECT_TRUE(index.entries.empty()) << c.first;
  }
}

TEST(PlaybackIndexTest, ADamagedTailEndsTheIndexAtTheLastWholeEntry) {
  std::vector<uint8_t> whole = playbacktest::makeRecord(SARVIK_STREAM_DEPTH, 8, 6, 2, 5, 0, 33333);
  const size_t entryBytes = whole.size() / 5;
  struct Case {
    const char* name;
    size_t keep;              // bytes of the whole file kept
    std::vector<uint8_t> add;  // then appended
    size_t entries;
  } cases[] = {
      {"cut in the data", whole.size() - 10, {}, 4},
      {"cut in a tag", 4 * entryBytes + 10, {}, 4},
      {"garbage tail", whole.size(), std::vector<uint8_t>(100, 0xEE), 5},
      {"zeros tail", whole.size(), std::vector<uint8_t>(26, 0), 5},
  };
  for (const Case& c : cases) {
    std::vector<uint8_t> file(whole.begin(), whole.begin() + static_cast<long>(c.keep));
    file.insert(file.end(), c.add.begin(), c.add.end());
    PlaybackIndex index;
    ASSERT_EQ(playback::buildIndexFromMemory(file.data(), file.size(), &index), nullptr) << c.name;
    EXPECT_EQ(index.entries.size(), c.entries) << c.name;
    EXPECT_EQ(index.indexedBytes, c.entries * entryBytes) << c.name;
    EXPECT_FALSE(index.tailProblem.empty()) << c.name;
  }
}

TEST(PlaybackIndexTest, ModesComeFromTheTagsInTheOrderTheFileShowsThem) {
  std::vector<uint8_t> file;
  for (uint32_t i = 0; i < 4; ++i) {
    playbacktest::appendEntry(&file, EntrySpec{SARVIK_STREAM_DEPTH, 8, 6, 2, 1000 + i * 33333}, i);
    playbacktest::appendEntry(&file, EntrySpec{SARVIK_STREAM_IR, 8, 6, 1, 1000 + i * 100000}, i);
  }
  playbacktest::appendEntry(&file, EntrySpec{SARVIK_STREAM_IR, 4, 2, 2, 900000}, 4);
  PlaybackIndex index;
  ASSERT_EQ(playback::buildIndexFromMemory(file.data(), file.size(), &index), nullptr);
  std::vector<SarvikModeRecord> modes[4];
  playback::inferModes(index, playback::Sidecar(), modes);
  EXPECT_TRUE(modes[0].empty());
  ASSERT_EQ(modes[1].size(), 1u);
  EXPECT_EQ(modes[1][0].mode.modeValue1, 8);
  EXPECT_EQ(modes[1][0].mode.modeValue3, 6);
  EXPECT_EQ(modes[1][0].mode.modeValue4, SARVIK_PIXEL_DEPTH16);
  EXPECT_EQ(modes[1][0].mode.modeValue2, 30);  // from the median gap of the stamps
  EXPECT_EQ(modes[1][0].frameBytes, 96u);
  ASSERT_EQ(modes[2].size(), 2u);
  EXPECT_EQ(modes[2][0].mode.modeValue4, SARVIK_PIXEL_GRAY8);
  EXPECT_EQ(modes[2][0].mode.modeValue2, 10);
  EXPECT_EQ(modes[2][1].mode.modeValue4, SARVIK_PIXEL_GRAY16);
  EXPECT_EQ(modes[2][1].mode.modeValue2, 0);  // one entry: no rate to tell
  EXPECT_EQ(modes[2][1].modeIndex, 1);

  // A sidecar's rate wins over the guess.
  std::string warning;
  playback::Sidecar sidecar = playback::parseSidecar(
      R"({"streams":[{"streamType":2,"width":8,"height":6,"fps":25}]})", &warning);
  EXPECT_TRUE(warning.empty());
  playback::inferModes(index, sidecar, modes);
  EXPECT_EQ(modes[1][0].mode.modeValue2, 25);
}

TEST(PlaybackIndexTest, ASidecarIsReadForWhatItHasAndIgnoredWhenItIsNoObject) {
  std::string warning;
  playback::Sidecar sidecar = playback::parseSidecar(
      R"({"sidecar":1,"camera":{"name":"Desk","serial":"SN1","vendorId":11866,"productId":"wrong"},
          "depthUnit":{"encoding":0,"metresPerUnit":0.00025},
          "streams":[{"streamType":2,"width":640,"height":480,"fps":30,
                      "intrinsics":{"fx":570.5,"fy":571,"cx":319.5,"cy":239.5}},
                     {"streamType":1}, 7]})",
      &warning);
  EXPECT_TRUE(warning.empty());
  EXPECT_TRUE(sidecar.present);
  EXPECT_EQ(sidecar.name, "Desk");
  EXPECT_EQ(sidecar.serial, "SN1");
  EXPECT_EQ(sidecar.vendorId, 11866);
  EXPECT_EQ(sidecar.productId, 0);  // a value of the wrong type is left out
  ASSERT_TRUE(sidecar.hasDepthUnit);
  EXPECT_FLOAT_EQ(sidecar.depthUnit.metresPerUnit, 0.00025f);
  ASSERT_EQ(sidecar.streams.size(), 1u);
  const playback::SidecarStream* depth = sidecar.find(SARVIK_STREAM_DEPTH, 640, 480);
  ASSERT_NE(depth, nullptr);
  EXPECT_TRUE(depth->hasIntrinsics);
  EXPECT_FLOAT_EQ(depth->intrinsics.fx, 570.5f);
  EXPECT_EQ(sidecar.find(SARVIK_STREAM_DEPTH, 320, 240), nullptr);

  for (const char* text : {"", "[1,2]", "{\"camera\":", "\xff\xfe"}) {
    std::string why;
    playback::Sidecar bad = playback::parseSidecar(text, &why);
    EXPECT_FALSE(bad.present) << text;
    EXPECT_FALSE(why.empty()) << text;
  }
}

}  // namespace
