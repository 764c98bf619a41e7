// The record file written by the module's recorder: entries of a 26-byte
// little-endian tag followed by the tag's dataSize bytes of one frame, from
// byte 0 to the end of the file. No header, no index, no trailer; an empty
// file is a record file with no entries.
//
// The writer (the module's recorder), the readers (sarvik, playback) and the
// tests all take the layout from here.
#ifndef SARVIK_RECORD_FILE_H
#define SARVIK_RECORD_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "sarvik/SarvikTypes.h"

#pragma pack(push, 1)

// The 26 bytes of a tag as they stand in the file.
struct SarvikRecordTag {
  uint16_t streamType;
  uint32_t frameIndex;  // per stream type, from 0 at each attach
  uint64_t frameStamp;  // the frame's own stamp
  uint32_t dataSize;    // bytes of frame data that follow
  uint32_t width;
  uint32_t height;
};

#pragma pack(pop)

constexpr size_t kSarvikRecordTagBytes = 26;

static_assert(sizeof(SarvikRecordTag) == kSarvikRecordTagBytes, "a tag is 26 bytes");
static_assert(offsetof(SarvikRecordTag, streamType) == 0, "streamType at 0");
static_assert(offsetof(SarvikRecordTag, frameIndex) == 2, "frameIndex at 2");
static_assert(offsetof(SarvikRecordTag, frameStamp) == 6, "frameStamp at 6");
static_assert(offsetof(SarvikRecordTag, dataSize) == 14, "dataSize at 14");
static_assert(offsetof(SarvikRecordTag, width) == 18, "width at 18");
static_assert(offsetof(SarvikRecordTag, height) == 22, "height at 22");

// The file is little-endian and so is every machine the SDK builds for; the
// copy keeps the read free of alignment assumptions.
inline SarvikRecordTag sarvikDecodeRecordTag(const uint8_t* bytes) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "record files are little-endian");
  SarvikRecordTag tag;
  std::memcpy(&tag, bytes, kSarvikRecordTagBytes);
  return tag;
}

inline void sarvikEncodeRecordTag(const SarvikRecordTag& tag, uint8_t* bytes) {
  std::memcpy(bytes, &tag, kSarvikRecordTagBytes);
}

// Bytes a pixel takes in an entry: dataSize / (width * height) when that is a
// whole 1, 2 or 3, else 0. The recorder writes the frame's bytes as they
// came, so this is how a reader learns the format of a stream.
inline uint32_t sarvikRecordBytesPerPixel(const SarvikRecordTag& tag) {
  const uint64_t pixels = static_cast<uint64_t>(tag.width) * tag.height;
  if (pixels == 0) return 0;
  for (uint32_t bytes = 1; bytes <= 3; ++bytes) {
    if (pixels * bytes == tag.dataSize) return bytes;
  }
  return 0;
}

// Why a tag cannot be the start of a sound entry; null when it can.
// `remaining` is the number of bytes of the file after the tag.
inline const char* sarvikRecordTagProblem(const SarvikRecordTag& tag, uint64_t remaining) {
  switch (tag.streamType) {
    case SARVIK_STREAM_COLOR:
    case SARVIK_STREAM_DEPTH:
    case SARVIK_STREAM_IR:
    case SARVIK_STREAM_LIGHT_IR: break;
    default: return "unknown stream type";
  }
  if (tag.width == 0 || tag.height == 0 || tag.width > 16384 || tag.height > 16384) {
    return "image size out of range";
  }
  const uint32_t bytes = sarvikRecordBytesPerPixel(tag);
  if (bytes == 0) return "data size is not width x height x bytes per pixel";
  if (tag.streamType == SARVIK_STREAM_COLOR && bytes != 3) return "colour entry is not 3 bytes a pixel";
  if (tag.streamType == SARVIK_STREAM_DEPTH && bytes != 2) return "depth entry is not 2 bytes a pixel";
  if ((tag.streamType == SARVIK_STREAM_IR || tag.streamType == SARVIK_STREAM_LIGHT_IR) && bytes == 3) {
    return "infrared entry of 3 bytes a pixel";
  }
  if (tag.dataSize > remaining) return "frame data runs past the end of the file";
  return nullptr;
}

// The sidecar FILE.json that `sarvik record` writes beside FILE, so that a
// played file answers like the camera that was recorded. Every key is
// optional; a reader ignores keys it does not know.
//
//   { "sidecar": 1,
//     "camera": { "name": "...", "serial": "...", "uri": "...", "vendorId": 11866,
//                 "productId": 20481, "firmware": "..." },
//     "depthUnit": { "encoding": 0, "metresPerUnit": 0.00025 },
//     "streams": [ { "streamType": 2, "width": 640, "height": 480, "fps": 30,
//                    "pixelFormat": 1,
//                    "intrinsics": { "fx": 570.3, "fy": 570.3, "cx": 319.5, "cy": 239.5 } } ] }
#define SARVIK_RECORD_SIDECAR_SUFFIX ".json"
constexpr int kSarvikRecordSidecarVersion = 1;

#endif  // SARVIK_RECORD_FILE_H
