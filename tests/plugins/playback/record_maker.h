// Record files made byte by byte for the playback tests: each entry's pixels
// are a pattern of its stamp, so a frame read back names the entry it came from.
#ifndef PLAYBACK_TEST_RECORD_MAKER_H
#define PLAYBACK_TEST_RECORD_MAKER_H

#include <cstdint>
#include <string>
#include <vector>

#include "sarvik/SarvikRecordFile.h"

namespace playbacktest {

struct EntrySpec {
  uint16_t streamType;
  uint32_t width;
  uint32_t height;
  uint32_t bytesPerPixel;
  uint64_t stamp;
};

// The pixels of an entry: byte i is (stamp * 31 + i) & 0xff.
std::vector<uint8_t> patternOf(const EntrySpec& spec);
void appendEntry(std::vector<uint8_t>* file, const EntrySpec& spec, uint32_t frameIndex);

// `count` entries of one stream, `gapUs` apart from stamp `first`.
std::vector<uint8_t> makeRecord(uint16_t streamType, uint32_t width, uint32_t height, uint32_t bytesPerPixel,
                                size_t count, uint64_t first, uint64_t gapUs);

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes);

}  // namespace playbacktest

#endif  // PLAYBACK_TEST_RECORD_MAKER_H
