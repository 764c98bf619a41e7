// One message of the viewer's frame stream: a fixed 48-byte header and the
// payload behind it, sent back to back in one chunked HTTP response. The page
// (page/viewer.js) reads the same layout; keep both in step.
#ifndef SARVIK_VIEWER_FRAME_MESSAGE_H
#define SARVIK_VIEWER_FRAME_MESSAGE_H

#include <cstddef>
#include <cstdint>

namespace sarvik_viewer {

// Kinds beside the stream types (1 colour, 2 depth, 4 ir, 32 light ir).
enum : uint32_t {
  kKindKeepAlive = 0,   // no payload: lets the server notice a closed browser
  kKindCloud = 0x100,   // payload: width points of three float32 (x, y, z metres)
};

#pragma pack(push, 1)
struct FrameMessageHeader {
  char magic[4];          // "SVF1"
  uint32_t headerBytes;   // 48
  uint32_t payloadBytes;
  uint32_t kind;
  uint32_t format;        // SarvikPixelFormat; for a cloud 0x100
  uint32_t width;
  uint32_t height;
  uint32_t frameNumber;
  uint64_t frameStamp;    // CLOCK_MONOTONIC microseconds of the server's host
  uint32_t dropped;       // images the camera lost on this stream so far
  uint32_t sequence;      // messages of this kind published so far
};
#pragma pack(pop)

static_assert(sizeof(FrameMessageHeader) == 48, "the page reads a 48-byte header");
static_assert(offsetof(FrameMessageHeader, payloadBytes) == 8, "payloadBytes at 8");
static_assert(offsetof(FrameMessageHeader, kind) == 12, "kind at 12");
static_assert(offsetof(FrameMessageHeader, frameStamp) == 32, "frameStamp at 32");
static_assert(offsetof(FrameMessageHeader, sequence) == 44, "sequence at 44");

// A header with magic and size filled in and everything else zero.
FrameMessageHeader makeHeader(uint32_t kind, uint32_t payloadBytes);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_FRAME_MESSAGE_H
