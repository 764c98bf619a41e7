// The recorder's in-memory bookkeeping. The bytes it writes, the 26-byte
// tag ahead of each frame's data, are laid out in the public
// sarvik/SarvikRecordFile.h, which every reader of the file shares.
#ifndef SARVIK_RECORDING_RECORD_FORMAT_H
#define SARVIK_RECORDING_RECORD_FORMAT_H

#include <cstddef>
#include <cstdint>

#include "sarvik/SarvikRecordFile.h"

namespace sarvik {

#pragma pack(push, 1)

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

static_assert(sizeof(RecordStreamHeader) == 14, "stream header is 14 bytes");
static_assert(offsetof(RecordStreamHeader, frameCount) == 2, "frameCount at 2");
static_assert(offsetof(RecordStreamHeader, modeValue1) == 6, "modeValue1 at 6");
static_assert(offsetof(RecordStreamHeader, modeValue2) == 8, "modeValue2 at 8");
static_assert(offsetof(RecordStreamHeader, modeValue3) == 10, "modeValue3 at 10");
static_assert(offsetof(RecordStreamHeader, modeValue4) == 12, "modeValue4 at 12");

}  // namespace sarvik

#endif  // SARVIK_RECORDING_RECORD_FORMAT_H
