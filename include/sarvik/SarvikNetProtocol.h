// The protocol between `sarvik serve` and the network transport plug-in.
//
// Every message is a ZeroMQ multipart message of exactly two parts:
//   1. the head: a SarvikNetHeader, then the fixed record of its type
//      (sarvikNetFixedBytes), small and of a size known from the type alone;
//   2. the body: header.bodyBytes bytes, possibly none. For kSarvikNetFrame
//      the body is the pixels themselves, so a receiver checks the head and
//      then copies the body once, straight into the pool's buffer.
// All integers are little-endian; records are packed. A request carries a
// requestId the reply repeats; a reply's status is 0 or a kSarvikErr... status
// of the served camera, passed on unchanged.
//
// A connection starts with the server's kSarvikNetHello. A peer that sees a
// wrong magic, another version, an unknown type, a size beyond the limits
// below or a body that does not match its head closes the connection.
#ifndef SARVIK_NET_PROTOCOL_H
#define SARVIK_NET_PROTOCOL_H

#include <cstddef>
#include <cstdint>

#include "sarvik/SarvikCamera.h"

enum : uint32_t {
  kSarvikNetMagic = 0x4e4b5653u,  // "SVKN" as bytes on the wire
  kSarvikNetVersion = 1,
};

// Limits. A receiver checks every size against these before it allocates.
enum : uint32_t {
  kSarvikNetMaxCameras = 64,         // cameras one server announces
  kSarvikNetMaxModes = 256,          // modes of one camera, all sensors together
  kSarvikNetMaxText = 1024,          // command texts and replies, error reasons
  kSarvikNetMaxPropertyBytes = 64 * 1024,  // also bounds kSarvikPropertyList
  kSarvikNetMaxFrameSide = 16384,
  // The largest frame any mode can have; a receiver bounds a frame further by
  // the frameBytes of the mode it announced for that sensor.
  kSarvikNetMaxFrameBytes = kSarvikNetMaxFrameSide * kSarvikNetMaxFrameSide * 3,
};

// Message types. Requests go from the plug-in to the server; the reply has
// the same type and requestId. Hello, frame and device-state go from the
// server unasked; error may answer any request that could not be understood.
enum : uint16_t {
  kSarvikNetHello = 1,        // body: SarvikNetCamera entries, each followed by its modes
  kSarvikNetList = 2,         // request: empty; reply: as hello
  kSarvikNetOpen = 3,         // empty both ways; camera in the header
  kSarvikNetClose = 4,
  kSarvikNetGetProperty = 5,  // fixed: SarvikNetProperty; reply body: the value
  kSarvikNetSetProperty = 6,  // fixed: SarvikNetProperty; request body: the value
  kSarvikNetCommand = 7,      // request body: the command text; reply body: the reply text
  kSarvikNetModeList = 8,     // fixed: SarvikNetSensor; reply body: SarvikModeRecord[]
  kSarvikNetSetMode = 9,      // fixed: SarvikModeRecord
  kSarvikNetStartStream = 10, // fixed: SarvikNetSensor
  kSarvikNetStopStream = 11,  // fixed: SarvikNetSensor
  kSarvikNetFrame = 12,       // fixed: SarvikNetFrameHeader; body: the pixels
  kSarvikNetDeviceState = 13, // fixed: SarvikNetDeviceState
  kSarvikNetError = 14,       // status in the header; body: a one-line reason
  kSarvikNetTypeLast = kSarvikNetError,
};

#pragma pack(push, 1)

struct SarvikNetHeader {
  uint32_t magic;    // kSarvikNetMagic
  uint16_t version;  // kSarvikNetVersion
  uint16_t type;
  uint32_t camera;     // place in the server's list, from 0
  uint32_t requestId;  // 0 for unasked messages
  int32_t status;      // replies: 0 or a kSarvikErr... status
  uint32_t bodyBytes;  // size of the second part
};

// Fixed record of kSarvikNetHello and of the reply to kSarvikNetList.
struct SarvikNetHello {
  uint64_t serverClockNs;  // the server's monotonic clock when sent
  uint32_t cameraCount;
  uint32_t reserved;
};

// One camera of a hello body; modeCount SarvikModeRecords follow it.
struct SarvikNetCamera {
  char serial[32];  // NUL-terminated
  char name[32];
  uint32_t sensorMask;
  uint32_t modeCount;
};

struct SarvikNetProperty {
  uint32_t id;
  uint32_t length;  // get: the room asked for; set and replies: the value's length
};

struct SarvikNetSensor {
  uint32_t sensorType;
};

struct SarvikNetFrameHeader {
  uint32_t sensorType;
  uint32_t pixelFormat;  // SarvikPixelFormat
  uint32_t width;
  uint32_t height;
  uint32_t frameNumber;
  uint32_t reserved;
  uint64_t stampNs;  // server's monotonic clock
};

struct SarvikNetDeviceState {
  uint32_t state;  // 0 connected, 1 gone
  uint32_t reserved;
};

#pragma pack(pop)

static_assert(sizeof(SarvikNetHeader) == 24, "header is 24 bytes");
static_assert(offsetof(SarvikNetHeader, type) == 6, "type at 6");
static_assert(offsetof(SarvikNetHeader, camera) == 8, "camera at 8");
static_assert(offsetof(SarvikNetHeader, status) == 16, "status at 16");
static_assert(offsetof(SarvikNetHeader, bodyBytes) == 20, "bodyBytes at 20");
static_assert(sizeof(SarvikNetHello) == 16, "hello is 16 bytes");
static_assert(sizeof(SarvikNetCamera) == 72, "camera entry is 72 bytes");
static_assert(offsetof(SarvikNetCamera, sensorMask) == 64, "sensorMask at 64");
static_assert(sizeof(SarvikNetProperty) == 8, "property record is 8 bytes");
static_assert(sizeof(SarvikNetSensor) == 4, "sensor record is 4 bytes");
static_assert(sizeof(SarvikNetFrameHeader) == 32, "frame header is 32 bytes");
static_assert(offsetof(SarvikNetFrameHeader, stampNs) == 24, "stampNs at 24");
static_assert(sizeof(SarvikNetDeviceState) == 8, "device state is 8 bytes");

// Size of the fixed record that follows the header of a type; -1 for a type
// this version does not define.
inline int sarvikNetFixedBytes(uint32_t type) {
  switch (type) {
    case kSarvikNetHello:
    case kSarvikNetList: return sizeof(SarvikNetHello);
    case kSarvikNetOpen:
    case kSarvikNetClose:
    case kSarvikNetCommand:
    case kSarvikNetError: return 0;
    case kSarvikNetGetProperty:
    case kSarvikNetSetProperty: return sizeof(SarvikNetProperty);
    case kSarvikNetModeList:
    case kSarvikNetStartStream:
    case kSarvikNetStopStream: return sizeof(SarvikNetSensor);
    case kSarvikNetSetMode: return sizeof(SarvikModeRecord);
    case kSarvikNetFrame: return sizeof(SarvikNetFrameHeader);
    case kSarvikNetDeviceState: return sizeof(SarvikNetDeviceState);
    default: return -1;
  }
}

// Length of a property whose layout the public headers define; 0 for one
// whose length is not known, which the network refuses (kSarvikPropertyList
// is a whole number of SarvikPropertyInfo and checked apart).
inline uint32_t sarvikNetPropertyBytes(uint32_t id) {
  if (id == kSarvikPropertyDeviceInfo) return sizeof(SarvikDeviceInfoBlock);
  if (id == kSarvikPropertyStreamFlagMode) return 4;
  if (id > kSarvikPropertyIntrinsicsBase && id < kSarvikPropertyDepthUnit) return sizeof(SarvikIntrinsics);
  if (id == kSarvikPropertyDepthUnit) return sizeof(SarvikDepthUnit);
  if (id == kSarvikPropertyConnection) return 4;
  if (id >= kSarvikPropertyPlaybackSpeed && id <= kSarvikPropertyPlaybackPaused) return 4;
  if (id >= kSarvikPropertyPlaybackSeekIndex && id <= kSarvikPropertyPlaybackLength) return 8;
  if (id >= kSarvikPropertyV4l2First && id <= kSarvikPropertyV4l2Last) return 4;
  return 0;
}

#endif
