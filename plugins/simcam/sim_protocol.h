// What a client of the simulated camera can rely on beyond the plug-in
// interfaces: its identities, its status codes, the layout of its replies to
// property 72, queryData and sendCommand, and the control words its device
// task understands. Tools and tests may include this header.
#ifndef SIMCAM_SIM_PROTOCOL_H
#define SIMCAM_SIM_PROTOCOL_H

#include <cstddef>
#include <cstdint>

// Transports; the values are the ConnectionType of the device records.
enum SimTransport : uint32_t {
  kSimTransportUsb = 1,
  kSimTransportNet = 2,
};

constexpr uint16_t kSimVendorId = 0x2E5A;
constexpr uint16_t kSimUsbProductId = 0x5001;
constexpr uint16_t kSimNetProductId = 0x5002;
constexpr uint32_t kSimDeviceFlags = 0x00000001;
constexpr uint32_t kSimMaxCameras = 60;  // the host's table holds no more

// Statuses of the plug-in. They reach the application unchanged, so they keep
// clear of the small negative numbers the host uses for its own refusals.
enum : int32_t {
  kSimOk = 0,
  kSimErrArgument = -101,      // null or malformed argument
  kSimErrNotFound = -102,      // no such camera, sensor, mode, property or object
  kSimErrDisconnected = -103,  // the camera has been unplugged
  kSimErrState = -104,         // not possible in the object's present state
};

// Property ids with a meaning of their own.
constexpr uint32_t kSimPropertyDeviceInfo = 72;      // SimDeviceInfoBlock, 82 bytes
constexpr uint32_t kSimPropertyStreamFlagMode = 75;  // int32 mode, 4 bytes

#pragma pack(push, 1)

// The reply to property 72.
struct SimDeviceInfoBlock {
  uint16_t blockVersion;  // 1
  uint16_t blockSize;     // 82
  char firmwareVersion[16];
  char serialNumber[32];
  char hardwareId[16];
  uint16_t vendorId;
  uint16_t productId;
  uint32_t sensorMask;  // OR of the stream types the camera has
  uint16_t cameraIndex;
  uint8_t reserved[4];
};

// queryData(SimDeviceStatus*): set `size` to the room in bytes first; the
// plug-in writes at most that many bytes and puts the number written there.
struct SimSensorStatus {
  uint32_t sensorType;
  uint32_t running;    // 1 while a delivery thread runs
  uint32_t modeIndex;  // the current mode
  uint32_t reserved;
  uint64_t produced;   // images made: delivered + dropped
  uint64_t delivered;  // frames handed to the host
  uint64_t dropped;    // allocate gave null, or a buffer too small for the image
};

struct SimDeviceStatus {
  uint32_t size;
  uint32_t version;  // 1
  uint32_t connectionState;
  uint32_t cameraIndex;
  int32_t streamFlagMode;  // last value of property 75, 0 before any
  uint32_t sensorCount;
  SimSensorStatus sensors[4];  // color, depth, ir, light ir; absent ones have sensorType 0
};

// DeviceTaskBase::control(word1, word2, ...) of a simulated task: word1 picks
// the action. Every call is recorded, whatever word1 says.
enum : uint64_t {
  kSimTaskSetHolding = 1,   // word2: 0 or 1, the answer of isHolding from now on
  kSimTaskSetLocation = 2,  // word2: const char* of the new location
  kSimTaskReadRecord = 3,   // word2: SimTaskRecord* to copy what the task was told into
};

struct SimTaskRecord {
  uint32_t starts;
  uint32_t notifies;
  uint32_t controls;
  uint32_t events;
  uint64_t startWords[2];
  uint64_t notifyC;
  uint32_t notifyA;
  uint32_t notifyB;
  uint32_t notifyD;
  uint64_t controlWords[4];
  uint32_t lastEventState;
  char lastEventAddr[64];
  char lastEventSerial[32];
  char lastEventLocation[64];
};

#pragma pack(pop)

static_assert(sizeof(SimDeviceInfoBlock) == 82, "property 72 answers 82 bytes");
static_assert(sizeof(SimSensorStatus) == 40, "sensor status is 40 bytes");

// sendCommand(request, requestLength, word1, word2): request is the text of a
// command (no NUL needed), word1 a char* reply buffer, word2 a uint32_t* with
// the room on entry and the reply's length (without NUL) on return; the reply
// is NUL-terminated when room allows. Commands: "ping" (reply "pong"),
// "version", "serial", "uri", "location". Others give kSimErrNotFound.

#endif  // SIMCAM_SIM_PROTOCOL_H
