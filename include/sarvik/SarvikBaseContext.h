// The application's view of the module: one context object, reached through
// the two exports below. Every operation returns a status (0 success, negative
// failure; a plug-in's status passes through unchanged) unless said otherwise.
//
// Threading rules the module cannot check for you:
// - A client callback (device-state or frame) may call any operation except
//   deleteContext. A frame callback must not stop, destroy or close its own
//   stream, close its stream's device or shut down: these return -1 there.
// - startStream, stopStream, setFrameCallback and destroyStream/closeStream of
//   one stream handle must not run on two threads at once.
// - deviceTaskControl and deviceTaskNotify must not run while the device of
//   the active task is being closed or the context shuts down.
// - Releasing a frame the module did not hand out, or releasing one twice, is
//   undefined.
#ifndef SARVIK_BASE_CONTEXT_H
#define SARVIK_BASE_CONTEXT_H

#include <cstdint>
#include <string>

#include "sarvik/SarvikTypes.h"

// Device-state callback: deviceState 1 means the device went away.
typedef void (*DeviceStateCallback)(const char* deviceAddr, const char* sn, uint32_t deviceState,
                                    void* user);

// Frame callback. frame carries one reference for the application, to be
// given back with releaseFrame.
typedef void (*StreamFrameCallback)(sarvik::VideoStream* stream, typedefSarvikFrame* frame,
                                    void* userData);

class SarvikBaseContext {
 public:
  virtual ~SarvikBaseContext() {}  // slot 0
  virtual int32_t initialize() = 0;  // 1
  virtual int32_t shutdown() = 0;    // 2
  virtual int32_t initLog(const char* path) = 0;  // 3
  virtual int32_t registerDeviceStateCallback(DeviceStateCallback callback, void* user) = 0;  // 4
  // The table itself, no copy: every device-state event rewrites it in place,
  // so read it from a device-state callback or where no event can arrive.
  virtual int32_t getDeviceList(typedefSarvikDeviceInfo** list, uint32_t* count) = 0;  // 5
  virtual int32_t getVideoNodeList(typedefSarvikVideoNodeInfo** list, uint32_t* count) = 0;  // 6
  virtual typedefSarvikDeviceInfo* findDeviceByUri(const char* uri) = 0;  // 7
  // A second open of an open address gives 0 and leaves *device unwritten.
  virtual int32_t openDevice(const char* uri, sarvik::Device** device) = 0;  // 8
  virtual int32_t openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                                 sarvik::Device** device) = 0;  // 9
  virtual int32_t deviceTaskControl(uint64_t word1, uint64_t word2, uint64_t word3,
                                    uint64_t word4) = 0;  // 10
  virtual int32_t closeDevice(sarvik::Device* device) = 0;  // 11
  virtual int32_t getFrameModeList(sarvik::Device* device, uint32_t sensorType, uint64_t word1,
                                   uint64_t word2) = 0;  // 12
  virtual int32_t setFrameMode(sarvik::Device* device, uint32_t sensorType,
                               const typedefSarvikFrameMode* mode) = 0;  // 13
  virtual const typedefSarvikFrameMode* getCurrentFrameMode(sarvik::Device* device,
                                                            uint32_t sensorType) = 0;  // 14
  virtual int32_t openStream(sarvik::Device* device, uint32_t streamType, sarvik::VideoStream** stream,
                             StreamFrameCallback callback, void* user) = 0;  // 15
  virtual int32_t closeStream(sarvik::VideoStream* stream) = 0;  // 16
  // timeoutMs -1 waits without limit.
  virtual int32_t waitForStreams(sarvik::VideoStream** streams, int32_t count,
                                 sarvik::VideoStream** readyStream, int32_t timeoutMs) = 0;  // 17
  virtual int32_t readFrame(sarvik::VideoStream* stream, typedefSarvikFrame** frame,
                            uint32_t timeoutMs) = 0;  // 18
  virtual int32_t releaseFrame(typedefSarvikFrame* frame) = 0;  // 19
  virtual int32_t setDeviceProperty(sarvik::Device* device, uint32_t id, void* data,
                                    uint32_t length) = 0;  // 20
  virtual int32_t getDeviceProperty(sarvik::Device* device, uint32_t id, void* data,
                                    uint32_t* length) = 0;  // 21
  virtual int32_t sendDeviceCommand(sarvik::Device* device, void* request, uint32_t requestLength,
                                    uint64_t word1, uint64_t word2) = 0;  // 22
  virtual int32_t setStreamFlagMode(sarvik::Device* device, int32_t mode) = 0;  // 23
  virtual int32_t createRecorder(const char* path, sarvik::StreamRecorder** recorder) = 0;  // 24
  virtual int32_t attachStreamToRecorder(sarvik::StreamRecorder* recorder,
                                         sarvik::VideoStream* stream) = 0;  // 25
  virtual int32_t startRecorder(sarvik::StreamRecorder* recorder) = 0;    // 26
  virtual int32_t stopRecorder(sarvik::StreamRecorder* recorder) = 0;     // 27
  virtual int32_t destroyRecorder(sarvik::StreamRecorder* recorder) = 0;  // 28
  virtual int32_t queryDeviceData(sarvik::Device* device, void* data) = 0;  // 29
  virtual int32_t setLogLevel(uint32_t level) = 0;  // 30
  virtual int32_t setLogFilePath(const char* path) = 0;  // 31
  // buffer must have room for 82 bytes.
  virtual int32_t getDeviceProperty72(sarvik::Device* device, void* buffer) = 0;  // 32
  virtual void setLastError(uint32_t code) = 0;  // 33
  virtual int32_t reservedVariadic(int32_t first, int32_t second, ...) = 0;  // 34
  // Null or empty fileName: a name from the local time in the current folder.
  virtual int32_t saveBmpSnapshot(const char* fileName) = 0;  // 35
  virtual int32_t depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                                    float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                                    uint32_t encoding, bool clip) = 0;  // 36
  virtual int32_t deviceDepthToPointCloud(sarvik::Device* device, const uint16_t* depth, uint32_t width,
                                          uint32_t height, float scale, float fx, float fy, float cx,
                                          float cy, typedefSarvikPoint3D* points, uint32_t encoding,
                                          bool clip) = 0;  // 37
  virtual int32_t depthToColouredCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                                       float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                                       typedefSarvikRGBA* colours, uint32_t encoding) = 0;  // 38
  virtual int32_t startDeviceTask(sarvik::Device* device, uint64_t word1, uint64_t word2) = 0;  // 39
  virtual int32_t deviceTaskNotify(uint32_t a, uint32_t b, uint64_t c, uint32_t d) = 0;  // 40
  virtual int32_t setFrameCallback(sarvik::VideoStream* stream, StreamFrameCallback callback,
                                   void* user) = 0;  // 41
  virtual int32_t setUvcDriverFlag(uint8_t value) = 0;  // 42
  virtual int32_t setUvcDriverText(std::string text) = 0;  // 43
};

#if defined(SARVIK_BUILDING_MODULE)
#define SARVIK_EXPORT __attribute__((visibility("default")))
#else
#define SARVIK_EXPORT
#endif

extern "C" {
// The one context of the process; the same pointer however often it is called.
SARVIK_EXPORT SarvikBaseContext* ContextFactory();
// Shuts the context down first if it is the current one and still running.
// Must not be called from a client callback.
SARVIK_EXPORT void deleteContext(SarvikBaseContext* context);
}

typedef SarvikBaseContext* (*ContextFactoryFn)();
typedef void (*DeleteContextFn)(SarvikBaseContext* context);

#endif  // SARVIK_BASE_CONTEXT_H
