// The record file: entries of a 26-byte little-endian FrameTag followed by
// the frame's dataSize bytes, from byte 0 to the end of the file. No header,
// no index, no trailer; an empty file is a valid record file.
#ifndef SARVIK_RECORDING_RECORD_FORMAT_H
#define SARVIK_RECORDING_RECORD_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace sarvik {

#pragma pack(push, 1)

// In memory the tag carries the frame's data pointer behind the 26 bytes that
// are written.
struct FrameTag {
  uint16_t streamType;
  uint32_t frameIndex;
  uint64_t frameStamp;
  uint32_t dataSize;
  uint32_t width;
  uint32_t height;
  void* data;
};

// Per-type bookkeeping of a recorder; kept in memory only.
struct RecordStreamHeader {
  uint16_t streamType;
  uint32_t frameCount;  // the next frameIndex of this type
  uint16_t modeValue1;
  int16_t modeValue2;
  uint16_t modeValue3;
  uint16_t modeValue4;
};

#pragma pack(pop)

constexpr size_t kFrameTagBytes = 26;

static_assert(offsetof(FrameTag, streamType) == 0, "streamType at 0");
static_assert(offsetof(FrameTag, frameIndex) == 2, "frameIndex at 2");
static_assert(offsetof(FrameTag, frameStamp) == 6, "frameStamp at 6");
static_assert(offsetof(FrameTag, dataSize) == 14, "dataSize at 14");
static_assert(offsetof(FrameTag, width) == 18, "width at 18");
static_assert(offsetof(FrameTag, height) == 22, "height at 22");
static_assert(offsetof(FrameTag, data) == kFrameTagBytes, "the written part is 26 bytes");
static_assert(sizeof(RecordStreamHeader) == 14, "stream header is 14 bytes");
static_assert(offsetof(RecordStreamHeader, frameCount) == 2, "frameCount at 2");
static_assert(offsetof(RecordStreamHeader, modeValue1) == 6, "modeValue1 at 6");
static_assert(offsetof(RecordStreamHeader, modeValue2) == 8, "modeValue2 at 8");
static_assert(offsetof(RecordStreamHeader, modeValue3) == 10, "modeValue3 at 10");
static_assert(offsetof(RecordStreamHeader, modeValue4) == 12, "modeValue4 at 12");

}  // namespace sarvik

#endif  // SARVIK_RECORDING_RECORD_FORMAT_H
