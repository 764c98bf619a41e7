// What every camera of the SDK's own transports answers beyond the plug-in
// interfaces: the frame-mode record and how getFrameModeList reads its two
// words, the pixel codes, the plug-ins' statuses, and the ids and layouts of
// properties, queries and text commands. The USB plug-in (simulated cameras,
// recordings, V4L2 cameras) and the network plug-in answer alike, and every
// consumer (sarvik, the Python package, the GStreamer source, the viewer)
// reads cameras through this header alone.
//
// getFrameModeList(device, sensorType, word1, word2) reads its words as:
//   word1: SarvikModeRecord* array to fill (0 only asks for the number)
//   word2: uint32_t* count: on entry the room of the array in records, on
//          return the number written; with word1 0, the number of modes.
// It returns 0, kSarvikErrArgument for a null count, or kSarvikErrNotFound for
// a sensor the camera does not have (*count is then 0). The first record is
// the mode a device opens with. setFrameMode takes a pointer to one of the
// records (or a copy of one); getCurrentFrameMode points at one.
#ifndef SARVIK_CAMERA_H
#define SARVIK_CAMERA_H

#include <cstddef>
#include <cstdint>

#include "sarvik/SarvikTypes.h"

// modeValue4 of a mode and pixelType of its frames carry the same code.
enum SarvikPixelFormat : uint16_t {
  SARVIK_PIXEL_RGB24 = 0,    // 3 bytes a pixel, red first, rows top down
  SARVIK_PIXEL_DEPTH16 = 1,  // 16-bit depth, little-endian; unit in SarvikDepthUnit
  SARVIK_PIXEL_GRAY8 = 2,    // 8-bit intensity
  SARVIK_PIXEL_GRAY16 = 3,   // 16-bit intensity, little-endian
};

// Bytes a pixel of a format takes; 0 for a code this header does not define.
inline uint32_t sarvikPixelBytes(uint32_t format) {
  switch (format) {
    case SARVIK_PIXEL_RGB24: return 3;
    case SARVIK_PIXEL_DEPTH16: return 2;
    case SARVIK_PIXEL_GRAY8: return 1;
    case SARVIK_PIXEL_GRAY16: return 2;
    default: return 0;
  }
}

// "rgb24", "depth16", "gray8", "gray16"; null for an unknown code.
inline const char* sarvikPixelName(uint32_t format) {
  switch (format) {
    case SARVIK_PIXEL_RGB24: return "rgb24";
    case SARVIK_PIXEL_DEPTH16: return "depth16";
    case SARVIK_PIXEL_GRAY8: return "gray8";
    case SARVIK_PIXEL_GRAY16: return "gray16";
    default: return nullptr;
  }
}

// Statuses of the SDK's transports. They reach the application unchanged, so
// they keep clear of the small negative numbers the module uses itself.
enum : int32_t {
  kSarvikErrArgument = -101,      // null, malformed or out-of-range argument
  kSarvikErrNotFound = -102,      // no such camera, sensor, mode, property or object
  kSarvikErrDisconnected = -103,  // the camera has gone (unplugged, server gone, file ended)
  kSarvikErrState = -104,         // not possible in the object's present state
  kSarvikErrUnsupported = -105,   // this camera has no such feature
  kSarvikErrIo = -106,            // the device, file or connection failed
  kSarvikErrBusy = -107,          // in use by another program
};

#pragma pack(push, 1)

struct SarvikModeRecord {
  // The head the module reads: modeValue1 width, modeValue3 height,
  // modeValue4 SarvikPixelFormat, modeValue2 frames a second (0: flat out).
  typedefSarvikFrameMode mode;
  uint8_t bytesPerPixel;
  uint16_t modeIndex;  // position in the sensor's list
  uint32_t sensorType;
  uint32_t frameBytes;  // width * height * bytesPerPixel
  uint32_t reserved;
};

#pragma pack(pop)

static_assert(sizeof(SarvikModeRecord) == 24, "the mode record is 24 bytes");
static_assert(offsetof(SarvikModeRecord, mode) == 0, "the module's head comes first");
static_assert(offsetof(SarvikModeRecord, bytesPerPixel) == 9, "bytesPerPixel at 9");
static_assert(offsetof(SarvikModeRecord, modeIndex) == 10, "modeIndex at 10");
static_assert(offsetof(SarvikModeRecord, sensorType) == 12, "sensorType at 12");
static_assert(offsetof(SarvikModeRecord, frameBytes) == 16, "frameBytes at 16");

inline uint16_t sarvikModeWidth(const typedefSarvikFrameMode& m) { return m.modeValue1; }
inline uint16_t sarvikModeHeight(const typedefSarvikFrameMode& m) { return m.modeValue3; }
inline uint16_t sarvikModeFormat(const typedefSarvikFrameMode& m) { return m.modeValue4; }
inline int8_t sarvikModeFps(const typedefSarvikFrameMode& m) { return m.modeValue2; }

// Two modes are the same when the four values the module reads are equal;
// the bytes behind them are the plug-in's own and take no part.
inline bool sarvikModeEquals(const typedefSarvikFrameMode& a, const typedefSarvikFrameMode& b) {
  return a.modeValue1 == b.modeValue1 && a.modeValue3 == b.modeValue3 && a.modeValue4 == b.modeValue4 &&
         a.modeValue2 == b.modeValue2;
}

// ---------------------------------------------------------------------------
// Properties. getDeviceProperty copies at most the room in *length and writes
// the real length; setDeviceProperty refuses a length that does not fit the
// property with kSarvikErrArgument. Ids below 0x100 other than these two are
// free round-tripping storage on every camera that has no use of its own.

enum : uint32_t {
  kSarvikPropertyDeviceInfo = 72,      // SarvikDeviceInfoBlock, 82 bytes, read only
  kSarvikPropertyStreamFlagMode = 75,  // int32_t mode, 4 bytes

  // Intrinsics of a sensor in its current mode: SarvikIntrinsics, read only.
  // The id is the base plus the stream type (0x101 colour, 0x102 depth, ...).
  kSarvikPropertyIntrinsicsBase = 0x100,
  kSarvikPropertyDepthUnit = 0x140,     // SarvikDepthUnit, read only
  kSarvikPropertyList = 0x141,          // SarvikPropertyInfo[]: what this camera offers
  kSarvikPropertyConnection = 0x142,    // uint32_t: 0 connected, 1 gone

  // Playback of a record file (file:// cameras). Writing a bad value gives
  // kSarvikErrArgument and changes nothing.
  kSarvikPropertyPlaybackSpeed = 0x200,   // float: 0 flat out, else 0.25 to 8 times real time
  kSarvikPropertyPlaybackLoop = 0x201,    // uint32_t: 1 starts again at the end, 0 ends the device
  kSarvikPropertyPlaybackPaused = 0x202,  // uint32_t: 1 paused, 0 playing
  kSarvikPropertyPlaybackSeekIndex = 0x203,  // uint64_t: entry index of the whole file to play next
  kSarvikPropertyPlaybackSeekStamp = 0x204,  // uint64_t: first entry whose frameStamp is not below
  kSarvikPropertyPlaybackPosition = 0x205,   // uint64_t, read only: entry index played next
  kSarvikPropertyPlaybackLength = 0x206,     // uint64_t, read only: entries in the file

  // V4L2 cameras: the control ids of linux/videodev2.h (V4L2_CID_...) are
  // property ids, each an int32_t value; kSarvikPropertyList names them.
  kSarvikPropertyV4l2First = 0x00980000,
  kSarvikPropertyV4l2Last = 0x00a9ffff,
};

// Depth-to-depth-unit encodings, as depthToPointCloud's `encoding` reads them.
enum : uint32_t {
  SARVIK_DEPTH_FRACTION_4 = 1,  // 4 fractional bits
  SARVIK_DEPTH_FRACTION_3 = 2,  // 3 fractional bits
  SARVIK_DEPTH_FRACTION_2 = 0,  // 2 fractional bits (any other value too)
};

#pragma pack(push, 1)

// The reply to property 72.
struct SarvikDeviceInfoBlock {
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

// Pinhole intrinsics of one sensor at the size of its current mode.
struct SarvikIntrinsics {
  uint32_t width;
  uint32_t height;
  float fx;  // focal length along columns, pixels
  float fy;  // focal length along rows, pixels
  float cx;  // principal point column
  float cy;  // principal point row
};

// What a depth sample means: decode it with `encoding` as depthToPointCloud
// does, and the decoded value times `metresPerUnit` is metres. So
// depthToPointCloud with scale = 1 / metresPerUnit gives metres, with
// scale 1.0 gives the decoded unit.
struct SarvikDepthUnit {
  uint32_t encoding;
  float metresPerUnit;
};

// One entry of kSarvikPropertyList.
struct SarvikPropertyInfo {
  uint32_t id;
  uint32_t flags;  // kSarvikPropertyReadable | kSarvikPropertyWritable
  int32_t minimum;
  int32_t maximum;
  int32_t step;
  int32_t defaultValue;
  char name[40];  // NUL-terminated, e.g. "exposure_absolute"
};

// queryData(SarvikDeviceStatus*): set `size` to the room in bytes first; the
// plug-in writes at most that many bytes and puts the number written there.
struct SarvikSensorStatus {
  uint32_t sensorType;
  uint32_t running;    // 1 while frames are delivered
  uint32_t modeIndex;  // the current mode
  uint32_t reserved;
  uint64_t produced;   // images made or received: delivered + dropped
  uint64_t delivered;  // frames handed to the module
  uint64_t dropped;    // no frame from the pool, or one too small for the image
};

struct SarvikDeviceStatus {
  uint32_t size;
  uint32_t version;  // 1
  uint32_t connectionState;
  uint32_t cameraIndex;
  int32_t streamFlagMode;  // last value of property 75, 0 before any
  uint32_t sensorCount;
  SarvikSensorStatus sensors[4];  // color, depth, ir, light ir; absent ones have sensorType 0
};

#pragma pack(pop)

enum : uint32_t {
  kSarvikPropertyReadable = 1,
  kSarvikPropertyWritable = 2,
};

static_assert(sizeof(SarvikDeviceInfoBlock) == 82, "property 72 answers 82 bytes");
static_assert(offsetof(SarvikDeviceInfoBlock, serialNumber) == 20, "serial at 20");
static_assert(offsetof(SarvikDeviceInfoBlock, vendorId) == 68, "vendorId at 68");
static_assert(offsetof(SarvikDeviceInfoBlock, sensorMask) == 72, "sensorMask at 72");
static_assert(sizeof(SarvikIntrinsics) == 24, "intrinsics are 24 bytes");
static_assert(sizeof(SarvikDepthUnit) == 8, "depth unit is 8 bytes");
static_assert(sizeof(SarvikPropertyInfo) == 64, "property info is 64 bytes");
static_assert(sizeof(SarvikSensorStatus) == 40, "sensor status is 40 bytes");
static_assert(offsetof(SarvikDeviceStatus, sensors) == 24, "sensor statuses at 24");
static_assert(sizeof(SarvikDeviceStatus) == 184, "device status is 184 bytes");

// ---------------------------------------------------------------------------
// Text commands: sendDeviceCommand(device, request, requestLength, word1,
// word2) with the command's text as request (no NUL needed), word1 a char*
// reply buffer, word2 a uint32_t* holding the room on entry and the reply's
// length (without NUL) on return; the reply is NUL-terminated when room
// allows. Every camera answers these; others give kSarvikErrNotFound.
#define SARVIK_COMMAND_PING "ping"          // reply "pong"
#define SARVIK_COMMAND_VERSION "version"    // firmware or back-end version
#define SARVIK_COMMAND_SERIAL "serial"
#define SARVIK_COMMAND_URI "uri"
#define SARVIK_COMMAND_LOCATION "location"

// Device tasks of the simulated cameras: DeviceTaskBase::control(word1, word2,
// ...) with word1 one of these. Every call is recorded, whatever word1 says.
enum : uint64_t {
  kSarvikTaskSetHolding = 1,   // word2: 0 or 1, the answer of isHolding from now on
  kSarvikTaskSetLocation = 2,  // word2: const char* of the new location
  kSarvikTaskReadRecord = 3,   // word2: SarvikTaskRecord* to copy what the task was told into
};

#pragma pack(push, 1)

struct SarvikTaskRecord {
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

// ---------------------------------------------------------------------------
// Addresses and environment.
//
//   usb://sim/N             simulated camera N of the USB plug-in
//   file:///abs/path.rec    a record file played as a camera (USB plug-in)
//   net://HOST:PORT/N       camera N of a `sarvik serve` server (network plug-in)
//   /dev/videoN             a V4L2 camera (USB plug-in)
#define SARVIK_FILE_SCHEME "file://"
#define SARVIK_NET_SCHEME "net://"

// Environment read by the plug-ins when the module initialises them.
#define SARVIK_ENV_PLAY_FILES "SARVIK_PLAY_FILES"    // colon-separated absolute paths
#define SARVIK_ENV_NET_SERVERS "SARVIK_NET_SERVERS"  // comma-separated host:port
#define SARVIK_ENV_SIM_CAMERAS "SARVIK_SIM_CAMERAS"  // number of simulated USB cameras
// What a file camera starts with (its properties change them afterwards):
#define SARVIK_ENV_PLAY_SPEED "SARVIK_PLAY_SPEED"  // 0 flat out, else 0.25 to 8; default 1
#define SARVIK_ENV_PLAY_LOOP "SARVIK_PLAY_LOOP"    // 1 starts again at the end; default 0

// Texts for setUvcDriverText (the USB plug-in's settings channel). The answer
// to an accepted path is a device-state event from the plug-in's own thread.
#define SARVIK_UVC_TEXT_PLAY "play "      // + absolute path: the file becomes a camera
#define SARVIK_UVC_TEXT_UNPLAY "unplay "  // + absolute path: the file camera goes

#endif  // SARVIK_CAMERA_H
