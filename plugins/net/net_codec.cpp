#include "net_codec.h"

#include <cstring>

namespace sarvik::net {
namespace {

constexpr uint64_t kModeBytes = sizeof(SarvikModeRecord);
constexpr uint64_t kMaxCamerasBody =
    uint64_t{kSarvikNetMaxCameras} * (sizeof(SarvikNetCamera) + uint64_t{kSarvikNetMaxModes} * kModeBytes);

int32_t fail(CodecError& error, int32_t status, std::string reason) {
  error.status = status;
  error.reason = std::move(reason);
  return status;
}

// The largest body a type may carry, before looking at its fixed record.
uint64_t bodyLimit(uint16_t type) {
  switch (type) {
    case kSarvikNetHello:
    case kSarvikNetList: return kMaxCamerasBody;
    case kSarvikNetGetProperty:
    case kSarvikNetSetProperty: return kSarvikNetMaxPropertyBytes;
    case kSarvikNetCommand:
    case kSarvikNetError: return kSarvikNetMaxText;
    case kSarvikNetModeList: return uint64_t{kSarvikNetMaxModes} * kModeBytes;
    case kSarvikNetFrame: return kSarvikNetMaxFrameBytes;
    default: return 0;
  }
}

int32_t checkProperty(const Message& m, CodecError& error) {
  const SarvikNetProperty& p = m.fixed.property;
  if (p.length > kSarvikNetMaxPropertyBytes)
    return fail(error, kSarvikErrIo, "property " + std::to_string(p.id) + " length " + std::to_string(p.length) +
                                         " beyond the limit");
  // A get request and a set reply carry no value; everything else that
  // carries one must match its record and the property's known layout.
  if (m.bodyBytes == 0) return 0;
  if (m.bodyBytes != p.length)
    return fail(error, kSarvikErrIo, "property " + std::to_string(p.id) + " says " + std::to_string(p.length) +
                                         " bytes but carries " + std::to_string(m.bodyBytes));
  const uint32_t known = sarvikNetPropertyBytes(p.id);
  if (known != 0 && p.length != known)
    return fail(error, kSarvikErrIo, "property " + std::to_string(p.id) + " is " + std::to_string(known) +
                                         " bytes, not " + std::to_string(p.length));
  if (p.id == kSarvikPropertyList && p.length % sizeof(SarvikPropertyInfo) != 0)
    return fail(error, kSarvikErrIo, "property list of " + std::to_string(p.length) + " bytes is not whole entries");
  return 0;
}

int32_t checkBody(const Message& m, CodecError& error, uint64_t frameLimit) {
  switch (m.header.type) {
    case kSarvikNetHello:
    case kSarvikNetList:
      if (m.fixed.hello.cameraCount > kSarvikNetMaxCameras)
        return fail(error, kSarvikErrIo, "hello announces " + std::to_string(m.fixed.hello.cameraCount) + " cameras");
      if (m.bodyBytes < uint64_t{m.fixed.hello.cameraCount} * sizeof(SarvikNetCamera))
        return fail(error, kSarvikErrIo, "hello body too short for its cameras");
      return 0;
    case kSarvikNetGetProperty:
    case kSarvikNetSetProperty: return checkProperty(m, error);
    case kSarvikNetModeList:
      if (m.bodyBytes % kModeBytes != 0)
        return fail(error, kSarvikErrIo, "mode list of " + std::to_string(m.bodyBytes) + " bytes is not whole modes");
      return 0;
    case kSarvikNetFrame: {
      const uint64_t want = frameBytes(m.fixed.frame);
      if (want == 0)
        return fail(error, kSarvikErrIo, "frame of " + std::to_string(m.fixed.frame.width) + "x" +
                                             std::to_string(m.fixed.frame.height) + " format " +
                                             std::to_string(m.fixed.frame.pixelFormat) + " is not a frame");
      if (want > frameLimit)
        return fail(error, kSarvikErrIo, "frame of " + std::to_string(want) + " bytes exceeds the mode's " +
                                             std::to_string(frameLimit));
      if (m.bodyBytes != want)
        return fail(error, kSarvikErrIo, "frame carries " + std::to_string(m.bodyBytes) + " bytes, not " +
                                             std::to_string(want));
      return 0;
    }
    case kSarvikNetError:
      if (m.header.status >= 0) return fail(error, kSarvikErrIo, "error message without an error status");
      return 0;
    default: return 0;
  }
}

}  // namespace

uint64_t frameBytes(const SarvikNetFrameHeader& frame) {
  const uint32_t bpp = sarvikPixelBytes(frame.pixelFormat);
  if (bpp == 0 || frame.width == 0 || frame.height == 0 || frame.width > kSarvikNetMaxFrameSide ||
      frame.height > kSarvikNetMaxFrameSide)
    return 0;
  return uint64_t{frame.width} * frame.height * bpp;
}

int32_t decode(const void* head, size_t headBytes, const void* body, size_t bodyBytes, Message& out,
               CodecError& error, uint64_t frameLimit) {
  error = CodecError{};
  out = Message{};
  if (head == nullptr || (body == nullptr && bodyBytes != 0))
    return fail(error, kSarvikErrArgument, "no message to decode");
  if (headBytes < sizeof(SarvikNetHeader))
    return fail(error, kSarvikErrIo, "truncated head: " + std::to_string(headBytes) + " bytes");
  std::memcpy(&out.header, head, sizeof out.header);
  const SarvikNetHeader& h = out.header;
  if (h.magic != kSarvikNetMagic) return fail(error, kSarvikErrIo, "wrong magic: not a sarvik network message");
  if (h.version != kSarvikNetVersion)
    return fail(error, kSarvikErrUnsupported, "protocol version " + std::to_string(h.version) + ", this side speaks " +
                                                  std::to_string(kSarvikNetVersion));
  const int fixed = sarvikNetFixedBytes(h.type);
  if (fixed < 0) return fail(error, kSarvikErrIo, "unknown message type " + std::to_string(h.type));
  if (headBytes != sizeof(SarvikNetHeader) + static_cast<size_t>(fixed))
    return fail(error, kSarvikErrIo, "head of type " + std::to_string(h.type) + " is " + std::to_string(headBytes) +
                                         " bytes, not " + std::to_string(sizeof(SarvikNetHeader) + fixed));
  if (h.bodyBytes > bodyLimit(h.type))
    return fail(error, kSarvikErrIo, "body of " + std::to_string(h.bodyBytes) + " bytes beyond the limit of type " +
                                         std::to_string(h.type));
  if (h.bodyBytes != bodyBytes)
    return fail(error, kSarvikErrIo, "body is " + std::to_string(bodyBytes) + " bytes, head says " +
                                         std::to_string(h.bodyBytes));
  std::memcpy(out.fixed.raw, static_cast<const uint8_t*>(head) + sizeof(SarvikNetHeader), fixed);
  out.body = static_cast<const uint8_t*>(body);
  out.bodyBytes = bodyBytes;
  if (const int32_t s = checkBody(out, error, frameLimit); s != 0) {
    out = Message{};
    return s;
  }
  return 0;
}

int32_t decodeCameras(const Message& message, std::vector<Camera>& cameras, CodecError& error) {
  error = CodecError{};
  cameras.clear();
  if (message.header.type != kSarvikNetHello && message.header.type != kSarvikNetList)
    return fail(error, kSarvikErrArgument, "not a camera list");
  const uint32_t count = message.fixed.hello.cameraCount;
  if (count > kSarvikNetMaxCameras) return fail(error, kSarvikErrIo, "too many cameras");
  size_t at = 0;
  std::vector<Camera> parsed;
  parsed.reserve(count);
  for (uint32_t i = 0; i < count; ++i) {
    Camera camera;
    if (message.bodyBytes - at < sizeof(SarvikNetCamera))
      return fail(error, kSarvikErrIo, "camera " + std::to_string(i) + " truncated");
    std::memcpy(&camera.entry, message.body + at, sizeof camera.entry);
    at += sizeof camera.entry;
    // The texts are NUL-terminated on the wire; a peer that forgets is cut short
    // rather than read past.
    camera.entry.serial[sizeof camera.entry.serial - 1] = '\0';
    camera.entry.name[sizeof camera.entry.name - 1] = '\0';
    const uint32_t modes = camera.entry.modeCount;
    if (modes > kSarvikNetMaxModes)
      return fail(error, kSarvikErrIo, "camera " + std::to_string(i) + " announces " + std::to_string(modes) + " modes");
    if ((message.bodyBytes - at) / kModeBytes < modes)
      return fail(error, kSarvikErrIo, "modes of camera " + std::to_string(i) + " truncated");
    camera.modes.resize(modes);
    if (modes != 0) std::memcpy(camera.modes.data(), message.body + at, modes * kModeBytes);
    at += modes * kModeBytes;
    parsed.push_back(std::move(camera));
  }
  if (at != message.bodyBytes)
    return fail(error, kSarvikErrIo, std::to_string(message.bodyBytes - at) + " bytes after the last camera");
  cameras = std::move(parsed);
  return 0;
}

int32_t encodeHead(uint16_t type, uint32_t camera, uint32_t requestId, int32_t status, const void* fixed,
                   size_t bodyBytes, std::vector<uint8_t>& head) {
  const int fixedBytes = sarvikNetFixedBytes(type);
  if (fixedBytes < 0 || (fixedBytes > 0 && fixed == nullptr) || bodyBytes > bodyLimit(type)) return kSarvikErrArgument;
  SarvikNetHeader h{kSarvikNetMagic, kSarvikNetVersion, type, camera, requestId, status,
                    static_cast<uint32_t>(bodyBytes)};
  head.resize(sizeof h + fixedBytes);
  std::memcpy(head.data(), &h, sizeof h);
  if (fixedBytes > 0) std::memcpy(head.data() + sizeof h, fixed, fixedBytes);
  return 0;
}

int32_t encodeCameras(uint16_t type, uint32_t requestId, uint64_t serverClockNs, const std::vector<Camera>& cameras,
                      std::vector<uint8_t>& head, std::vector<uint8_t>& body) {
  if ((type != kSarvikNetHello && type != kSarvikNetList) || cameras.size() > kSarvikNetMaxCameras)
    return kSarvikErrArgument;
  body.clear();
  for (const Camera& c : cameras) {
    if (c.modes.size() > kSarvikNetMaxModes) return kSarvikErrArgument;
    SarvikNetCamera entry = c.entry;
    entry.modeCount = static_cast<uint32_t>(c.modes.size());
    const auto* e = reinterpret_cast<const uint8_t*>(&entry);
    body.insert(body.end(), e, e + sizeof entry);
    const auto* m = reinterpret_cast<const uint8_t*>(c.modes.data());
    body.insert(body.end(), m, m + c.modes.size() * kModeBytes);
  }
  SarvikNetHello hello{serverClockNs, static_cast<uint32_t>(cameras.size()), 0};
  return encodeHead(type, 0, requestId, 0, &hello, body.size(), head);
}

int32_t encodeFrameHead(uint32_t camera, const SarvikNetFrameHeader& frame, std::vector<uint8_t>& head) {
  const uint64_t bytes = frameBytes(frame);
  if (bytes == 0) return kSarvikErrArgument;
  return encodeHead(kSarvikNetFrame, camera, 0, 0, &frame, bytes, head);
}

}  // namespace sarvik::net
