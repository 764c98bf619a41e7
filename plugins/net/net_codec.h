// Encoding and checking of the messages of SarvikNetProtocol.h. Nothing here
// touches a socket: the caller hands over the two parts as received, and a
// decoded message points into them, so the body (pixels above all) is copied
// only by whoever finally keeps it.
#ifndef SARVIK_NET_CODEC_H
#define SARVIK_NET_CODEC_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sarvik/SarvikNetProtocol.h"

namespace sarvik::net {

// One status (a kSarvikErr... value) and a one-line reason for the log.
struct CodecError {
  int32_t status = 0;
  std::string reason;
};

struct Message {
  SarvikNetHeader header{};
  // The fixed record, valid for the header's type.
  union {
    SarvikNetHello hello;
    SarvikNetProperty property;
    SarvikNetSensor sensor;
    SarvikModeRecord mode;
    SarvikNetFrameHeader frame;
    SarvikNetDeviceState state;
    uint8_t raw[32];
  } fixed{};
  const uint8_t* body = nullptr;  // into the caller's second part
  size_t bodyBytes = 0;
};

// A camera of a hello or list body.
struct Camera {
  SarvikNetCamera entry{};
  std::vector<SarvikModeRecord> modes;
};

// Checks both parts and fills `out`. `frameLimit` bounds a frame's body
// further, e.g. by the frameBytes of the announced mode. Returns 0, or a
// status with `error` filled and `out` not to be used.
int32_t decode(const void* head, size_t headBytes, const void* body, size_t bodyBytes, Message& out,
               CodecError& error, uint64_t frameLimit = kSarvikNetMaxFrameBytes);

// Parses the body of a hello or list reply that decode() accepted.
int32_t decodeCameras(const Message& message, std::vector<Camera>& cameras, CodecError& error);

// Builds the head part. `fixed` must hold sarvikNetFixedBytes(type) bytes
// (none for a type without a fixed record). Returns 0, or kSarvikErrArgument
// for an unknown type or a body beyond the type's limit.
int32_t encodeHead(uint16_t type, uint32_t camera, uint32_t requestId, int32_t status, const void* fixed,
                   size_t bodyBytes, std::vector<uint8_t>& head);

// Head and body of a hello (or, with type kSarvikNetList, a list reply).
int32_t encodeCameras(uint16_t type, uint32_t requestId, uint64_t serverClockNs, const std::vector<Camera>& cameras,
                      std::vector<uint8_t>& head, std::vector<uint8_t>& body);

// Head of a frame; the body is the caller's pixels, sent as they are.
int32_t encodeFrameHead(uint32_t camera, const SarvikNetFrameHeader& frame, std::vector<uint8_t>& head);

// Bytes a frame's pixels take, or 0 for an unknown format or a side of 0 or
// beyond kSarvikNetMaxFrameSide.
uint64_t frameBytes(const SarvikNetFrameHeader& frame);

}  // namespace sarvik::net

#endif
