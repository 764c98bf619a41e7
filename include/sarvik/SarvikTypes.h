// Public records shared by the module, the transport plug-ins and the
// application. Every record is packed to one byte: plug-ins and applications
// are built independently and see these as plain memory with fixed offsets.
#ifndef SARVIK_TYPES_H
#define SARVIK_TYPES_H

#include <cstddef>
#include <cstdint>

namespace sarvik {
class Device;
class VideoStream;
class StreamRecorder;
}  // namespace sarvik

// Stream (sensor) types. Powers of two, not a run: there is no 3 or 8.
enum : uint32_t {
  SARVIK_STREAM_COLOR = 1,
  SARVIK_STREAM_DEPTH = 2,
  SARVIK_STREAM_IR = 4,
  SARVIK_STREAM_LIGHT_IR = 32,
};

// ConnectionType values of a device record.
enum : uint32_t {
  SARVIK_CONNECTION_USB = 1,
  SARVIK_CONNECTION_NET = 2,
  SARVIK_CONNECTION_NET2 = 3,
  SARVIK_CONNECTION_OTHER = 4,
};

#pragma pack(push, 1)

// One present device. The module reads ConnectionType and uri only; the other
// fields are written by the plug-in for the application.
struct typedefSarvikDeviceInfo {
  uint16_t vendorId;
  uint16_t productId;
  uint32_t reserved4;
  uint32_t ConnectionType;
  char serialNumber[32];
  char name[36];
  char uri[513];  // NUL-terminated address; the key of the device table
};

// One video node, written by the UVC plug-in.
struct typedefSarvikVideoNodeInfo {
  uint32_t nodeIndex;
  char path[64];  // NUL-terminated, e.g. "/dev/video0"
};

// One frame as plug-ins write it and applications read it.
struct typedefSarvikFrame {
  uint32_t pixelType;  // 0: three bytes a pixel, red first, rows top down
  uint32_t streamType;
  uint32_t frameNumber;  // the plug-in's own counter; the module never touches it
  uint64_t frameStamp;
  uint32_t reserved20;  // between plug-in and application; never touched
  uint32_t width;
  uint32_t height;
  uint32_t dataSize;  // valid bytes in data
  void* data;         // the frame's pixel buffer, owned by the frame
};

// Head of a plug-in's frame-mode record. It stays in the plug-in's memory and
// is handled by pointer only; a plug-in may append fields of its own behind
// these. The module reads the four values for the recorder and nothing else.
struct typedefSarvikFrameMode {
  uint16_t modeValue1;
  uint8_t reserved2[2];
  uint16_t modeValue3;
  uint16_t modeValue4;
  int8_t modeValue2;
};

struct typedefSarvikPoint3D {
  float x;
  float y;
  float z;
};

struct typedefSarvikRGBA {
  float r;
  float g;
  float b;
  float a;
};

#pragma pack(pop)

static_assert(sizeof(typedefSarvikDeviceInfo) == 593, "device record is 593 bytes");
static_assert(offsetof(typedefSarvikDeviceInfo, ConnectionType) == 8, "ConnectionType at 8");
static_assert(offsetof(typedefSarvikDeviceInfo, serialNumber) == 12, "serialNumber at 12");
static_assert(offsetof(typedefSarvikDeviceInfo, name) == 44, "name at 44");
static_assert(offsetof(typedefSarvikDeviceInfo, uri) == 80, "uri at 80");
static_assert(sizeof(typedefSarvikVideoNodeInfo) == 68, "node record is 68 bytes");
static_assert(offsetof(typedefSarvikVideoNodeInfo, path) == 4, "node path at 4");
static_assert(sizeof(typedefSarvikFrame) == 44, "frame record is 44 bytes");
static_assert(offsetof(typedefSarvikFrame, pixelType) == 0, "pixelType at 0");
static_assert(offsetof(typedefSarvikFrame, streamType) == 4, "streamType at 4");
static_assert(offsetof(typedefSarvikFrame, frameNumber) == 8, "frameNumber at 8");
static_assert(offsetof(typedefSarvikFrame, frameStamp) == 12, "frameStamp at 12");
static_assert(offsetof(typedefSarvikFrame, reserved20) == 20, "reserved20 at 20");
static_assert(offsetof(typedefSarvikFrame, width) == 24, "width at 24");
static_assert(offsetof(typedefSarvikFrame, height) == 28, "height at 28");
static_assert(offsetof(typedefSarvikFrame, dataSize) == 32, "dataSize at 32");
static_assert(offsetof(typedefSarvikFrame, data) == 36, "data at 36");
static_assert(offsetof(typedefSarvikFrameMode, modeValue1) == 0, "modeValue1 at 0");
static_assert(offsetof(typedefSarvikFrameMode, modeValue3) == 4, "modeValue3 at 4");
static_assert(offsetof(typedefSarvikFrameMode, modeValue4) == 6, "modeValue4 at 6");
static_assert(offsetof(typedefSarvikFrameMode, modeValue2) == 8, "modeValue2 at 8");
static_assert(sizeof(typedefSarvikPoint3D) == 12, "point is three floats");
static_assert(sizeof(typedefSarvikRGBA) == 16, "colour is four floats");

#endif  // SARVIK_TYPES_H
