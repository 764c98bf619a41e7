// The index of a record file: where every whole entry lies, built by one pass
// over the tags (no frame data is read), so that seeking is a lookup.
//
// What a file must be to play: its first tag is sound by
// sarvikRecordTagProblem (sarvik/SarvikRecordFile.h). A file whose first tag
// is not (random bytes, a picture, an empty file) is refused. Past the first
// entry, the first tag that is not sound or whose data runs past the end of
// the file ends the index: the file plays up to the last whole entry, and
// `tailProblem` says why it stops there.
#ifndef SARVIK_PLAYBACK_INDEX_H
#define SARVIK_PLAYBACK_INDEX_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace playback {

struct IndexEntry {
  uint64_t dataOffset;  // of the frame data, just behind the tag
  uint64_t stamp;       // the tag's frameStamp
  uint32_t dataSize;
  uint16_t width;       // tags allow at most 16384
  uint16_t height;
  uint16_t streamType;
  uint8_t bytesPerPixel;
  uint8_t reserved;
  uint32_t reserved2;
};

static_assert(sizeof(IndexEntry) == 32, "an index entry is 32 bytes");

struct PlaybackIndex {
  std::vector<IndexEntry> entries;
  uint64_t fileSize = 0;
  uint64_t indexedBytes = 0;  // the whole entries end here
  std::string tailProblem;    // empty: the file ends with a whole entry
};

// Reads exactly `size` bytes at `offset` into `out`; false if it could not.
using ReadAt = std::function<bool(uint64_t offset, void* out, size_t size)>;

// The refusal of a file that is not a record file: null when it plays.
// `fileSize` is the length of the file now.
const char* buildIndex(const ReadAt& read, uint64_t fileSize, PlaybackIndex* out);

// The same over bytes in memory (tests, the fuzzer).
const char* buildIndexFromMemory(const uint8_t* bytes, size_t size, PlaybackIndex* out);

// An open file descriptor, read with pread.
const char* buildIndexFromFd(int fd, uint64_t fileSize, PlaybackIndex* out);

}  // namespace playback

#endif  // SARVIK_PLAYBACK_INDEX_H
