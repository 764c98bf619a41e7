// The contract of a transport plug-in (libSarvikUvcDriver.so,
// libSarvikNetDriver.so). The host calls these interfaces by vtable position,
// so every position is declared, also those the host never calls
// (the reservedN placeholders). None of the three plug-in interfaces has a
// virtual destructor: a virtual destructor would take two positions and move
// every later operation. Plug-in objects go back through the operation that
// matches the one that made them, never through delete.
#ifndef SARVIK_DRIVER_H
#define SARVIK_DRIVER_H

#include <cstdint>
#include <string>

#include "sarvik/SarvikFrame.h"
#include "sarvik/SarvikTypes.h"

namespace sarvik {
class DeviceInterfaceBase;
class StreamInterfaceBase;
class DeviceTaskBase;
}  // namespace sarvik

// Called by a plug-in, from a thread of its own, on every change of a device's
// state. deviceState 1 means the device went away. user is the pointer given
// to setDeviceStateCallback. The texts need only live for the call.
typedef void (*DriverStateCallback)(const char* deviceAddr, const char* sn, const char* location,
                                    uint32_t deviceState, void* user);

// Called by a stream object with each finished frame. The plug-in keeps its own
// reference until the call has returned; the host takes references of its own.
typedef void (*NewFrameCallback)(sarvik::SarvikFrameRef* frame, void* user);

namespace sarvik {

// The plug-in object returned by driverInstance.
class DriverInterfaceBase {
 public:
  virtual int32_t reserved0() { return 0; }                                            // 0
  virtual int32_t initialize() = 0;                                                    // 1
  virtual int32_t reserved2() { return 0; }                                            // 2
  virtual int32_t setDeviceStateCallback(DriverStateCallback callback, void* user) = 0;  // 3
  // On entry *count is the room in records; write the devices and their number.
  virtual int32_t getDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) = 0;  // 4
  // records has room for 60; *count says nothing on entry.
  virtual int32_t getVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count) = 0;  // 5
  virtual int32_t openDevice(const char* uri, DeviceInterfaceBase** device) = 0;          // 6
  virtual int32_t openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                                 DeviceInterfaceBase** device) = 0;  // 7
  // Ends the device object and all its stream objects.
  virtual int32_t closeDevice(DeviceInterfaceBase** device) = 0;  // 8
  virtual int32_t setTaskMode(bool enable) = 0;                   // 9
  virtual int32_t setFlag(uint8_t value) = 0;                     // 10
  // The callee owns the copy and destroys it.
  virtual int32_t setText(std::string text) = 0;  // 11

 protected:
  ~DriverInterfaceBase() = default;
};

// The object of one open device.
class DeviceInterfaceBase {
 public:
  virtual int32_t reserved0() { return 0; }  // 0
  virtual int32_t reserved1() { return 0; }  // 1
  virtual int32_t reserved2() { return 0; }  // 2
  // *stream is null on entry; null afterwards means failure.
  virtual int32_t createStream(uint32_t sensorType, StreamInterfaceBase** stream) = 0;  // 3
  virtual int32_t destroyStream(StreamInterfaceBase** stream) = 0;                      // 4
  virtual int32_t reserved5() { return 0; }                                             // 5
  virtual int32_t setProperty(uint32_t id, void* data, uint32_t length) = 0;            // 6
  // *length is the room on entry.
  virtual int32_t getProperty(uint32_t id, void* data, uint32_t* length) = 0;  // 7
  virtual int32_t sendCommand(void* request, uint32_t requestLength, uint64_t word1,
                              uint64_t word2) = 0;  // 8
  // 0: connected.
  virtual uint32_t getConnectionState() = 0;  // 9
  virtual bool isStreamReady() = 0;           // 10
  virtual int32_t reserved11() { return 0; }  // 11
  virtual int32_t depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale,
                                    float fx, float fy, float cx, float cy, typedefSarvikPoint3D* points,
                                    uint32_t encoding, bool clip) = 0;  // 12
  virtual int32_t getFrameModeList(uint32_t sensorType, uint64_t word1, uint64_t word2) = 0;  // 13
  // restart is true when the host restarts a stream object in its last mode.
  virtual int32_t setFrameMode(uint32_t sensorType, const typedefSarvikFrameMode* mode,
                               bool restart) = 0;  // 14
  // The record stays the plug-in's and stays good while the device is open.
  virtual const typedefSarvikFrameMode* getCurrentFrameMode(uint32_t sensorType) = 0;  // 15
  virtual int32_t reserved16() { return 0; }                                          // 16
  virtual int32_t reserved17() { return 0; }                                          // 17
  virtual int32_t reserved18() { return 0; }                                          // 18
  virtual int32_t reserved19() { return 0; }                                          // 19
  virtual int32_t reserved20() { return 0; }                                          // 20
  virtual const char* getDeviceId() = 0;                                              // 21
  virtual int32_t reserved22() { return 0; }                                          // 22
  virtual int32_t reserved23() { return 0; }                                          // 23
  virtual int32_t reserved24() { return 0; }                                          // 24
  virtual uint32_t getDeviceFlags() = 0;                                              // 25
  virtual int32_t reserved26() { return 0; }                                          // 26
  virtual int32_t queryData(void* data) = 0;                                          // 27
  virtual int32_t reserved28() { return 0; }                                          // 28
  virtual int32_t reserved29() { return 0; }                                          // 29
  virtual int32_t reserved30() { return 0; }                                          // 30
  virtual int32_t reserved31() { return 0; }                                          // 31
  virtual int32_t reserved32() { return 0; }                                          // 32
  virtual int32_t reserved33() { return 0; }                                          // 33
  // A new task; the host deletes it through its virtual destructor.
  virtual DeviceTaskBase* createTask() = 0;  // 34

 protected:
  ~DeviceInterfaceBase() = default;
};

// The object of one sensor of one device.
class StreamInterfaceBase {
 public:
  virtual int32_t reserved0() { return 0; }                                   // 0
  virtual uint32_t getFrameBufferSize() = 0;                                  // 1
  virtual int32_t setFrameAllocator(FrameAllocatorInterfaceBase* allocator) = 0;  // 2
  virtual int32_t setNewFrameCallback(NewFrameCallback callback, void* user) = 0;  // 3
  virtual int32_t start() = 0;                                                // 4
  // Frames may still arrive after stop; the host sends them back to the pool.
  virtual int32_t stop() = 0;  // 5

 protected:
  ~StreamInterfaceBase() = default;
};

// A device task. Made by DeviceInterfaceBase::createTask, owned and deleted by
// the host.
class DeviceTaskBase {
 public:
  virtual ~DeviceTaskBase() {}                                   // 0
  virtual int32_t start(uint64_t word1, uint64_t word2) = 0;     // 1
  virtual int32_t notify(uint64_t c, uint32_t a, uint32_t b, uint32_t d) = 0;  // 2
  virtual int32_t onDeviceState(const char* deviceAddr, const char* sn, const char* location,
                                uint32_t deviceState) = 0;  // 3
  virtual int32_t control(uint64_t word1, uint64_t word2, uint64_t word3, uint64_t word4) = 0;  // 4
  // True ends a device-state event in this task.
  virtual bool isHolding() = 0;               // 5
  virtual int32_t reserved6() { return 0; }   // 6
  virtual std::string getLocation() = 0;      // 7
};

}  // namespace sarvik

// Exports of a transport plug-in, looked up by these names.
typedef sarvik::DriverInterfaceBase* (*DriverInstanceFn)();
typedef int32_t (*DriverDestroyFn)(sarvik::DriverInterfaceBase* driver);

#define SARVIK_DRIVER_INSTANCE_EXPORT "driverInstance"
#define SARVIK_DRIVER_DESTROY_EXPORT "driverDestroy"

#endif  // SARVIK_DRIVER_H
