// Steers the controllable transport plug-in (libSarvikTestFakeDriver.so and its
// variants) from a test.
//
// The plug-in exports `fakeDriverControl()`, which returns its one control
// object. A test that dlopens the same file as the module gets the same
// instance and so the same control object; a copy of the file is a separate
// instance with a control object of its own. Test and plug-in are built by the
// same compiler, so C++ types cross freely.
//
// Everything the plug-in is asked is written to an ordered call log, one text
// per call, e.g. "getDeviceList(room=60)", "setProperty(75,len=4,value=4)",
// "getProperty(72,len=82)", "setFrameMode(2,restart=0)",
// "task.notify(usb://1,3,1,2,4)", "setFlag(7)", "setText(abc)", "stop(2)",
// "closeDevice(usb://1)", "driverDestroy". The full list of texts is at the
// end of this file.
//
// Threading: every member may be called from any thread at any time.
#ifndef SARVIK_TESTS_SUPPORT_FAKE_DRIVER_CONTROL_H
#define SARVIK_TESTS_SUPPORT_FAKE_DRIVER_CONTROL_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "sarvik/SarvikTypes.h"

namespace sarvik_test {

// Operations whose status a test can choose. Each answers 0 until told otherwise.
enum class FakeOp : int32_t {
  kInitialize,
  kGetDeviceList,
  kOpenDevice,
  kOpenDeviceByFd,
  kSetProperty,
  kGetProperty,
  kSendCommand,
  kGetFrameModeList,
  kSetFrameMode,
  kQueryData,
  kDepthToPointCloud,
  kStreamStart,
  kTaskStart,
  kCloseDevice,  // for pauseAt only: the host does not read closeDevice's status
  kSetFlag,      // for pauseAt only: the host does not read setFlag's status
  kCount,
};

// What a delivery hands the host instead of a well-formed frame.
enum class FrameFault : int32_t {
  kNone,
  kNullFrame,  // the callback gets a null frame
  kOversized,  // dataSize claims more bytes than the buffer holds
};

// Records the plug-in reports beyond this are dropped by setDevices.
constexpr uint32_t kFakeMaxRecords = 128;

class FakeDriverControl {
 public:
  // --- What the plug-in reports ---

  // The devices getDeviceList writes: as many as the room allows, from the first on.
  virtual void setDevices(const std::vector<typedefSarvikDeviceInfo>& devices) = 0;
  // The count getDeviceList reports instead of the number it wrote; -1 (the
  // default) reports the truth. A value above the room proves the host clamps.
  virtual void setReportedCount(int64_t count) = 0;
  // The nodes getVideoNodeList writes (at most 60) and counts.
  virtual void setVideoNodes(const std::vector<typedefSarvikVideoNodeInfo>& nodes) = 0;

  // --- Answers ---

  virtual void setResult(FakeOp op, int32_t status) = 0;
  // createStream leaves the stream pointer null.
  virtual void setCreateStreamNull(bool null) = 0;
  // createTask gives null.
  virtual void setCreateTaskNull(bool null) = 0;
  virtual void setConnectionState(uint32_t state) = 0;
  virtual void setStreamReady(bool ready) = 0;
  // The id getDeviceId gives after openDeviceByFd; the default is "fd:<path>".
  // hasId false makes getDeviceId answer null.
  virtual void setFdDeviceId(bool hasId, const std::string& id) = 0;
  // getCurrentFrameMode answers null.
  virtual void setCurrentFrameModeNull(bool null) = 0;
  // Frame geometry: getFrameBufferSize is width * height * bytesPerPixel.
  virtual void setFrameGeometry(uint32_t width, uint32_t height, uint32_t bytesPerPixel) = 0;

  // --- Tasks ---

  // Location and isHolding answer of the task of the device opened as
  // `deviceId`; a device without its own settings uses the defaults ("" and false).
  virtual void setTaskLocation(const std::string& deviceId, const std::string& location) = 0;
  virtual void setTaskHolding(const std::string& deviceId, bool holding) = 0;
  virtual void setDefaultTaskLocation(const std::string& location) = 0;
  virtual void setDefaultTaskHolding(bool holding) = 0;
  // Tasks made and not yet deleted by the host.
  virtual int32_t liveTasks() = 0;

  // --- Device-state events, always from a thread of the plug-in ---

  // Runs the host's DriverStateCallback on the plug-in's event thread and
  // waits until it has returned. A null text is passed as null. -1 when the
  // host has given no callback (or the driver object is gone), else 0.
  virtual int32_t raiseEvent(const char* deviceAddr, const char* sn, const char* location,
                             uint32_t deviceState) = 0;
  // The same without waiting.
  virtual int32_t raiseEventAsync(const char* deviceAddr, const char* sn, const char* location,
                                  uint32_t deviceState) = 0;
  // Raises this event again and again, flat out, until stopped or until
  // driverDestroy, which joins the event thread.
  virtual int32_t startEventStorm(const char* deviceAddr, const char* sn, const char* location,
                                  uint32_t deviceState) = 0;
  virtual void stopEventStorm() = 0;
  // While on, each getDeviceList and openDevice call raises a device-state
  // event ("inline://0", state 0) synchronously, on the calling thread,
  // before it answers (not again while one such event is running there).
  virtual void setEventsInsideCalls(bool on) = 0;
  // Events whose callback has returned.
  virtual uint64_t eventsRaised() = 0;

  // --- Frames ---

  // One frame for a started stream object of this sensor type (the most
  // recently started one), from the host's allocator, filled and handed to
  // the host's callback on the calling thread. 0 delivered; -1 no started
  // stream of that type; -2 the pool gave no frame.
  virtual int32_t deliverFrame(uint32_t sensorType) = 0;
  // Stream objects started from now on deliver frames flat out on a thread of
  // their own, from start to stop.
  virtual void setFlatOutDelivery(bool on) = 0;
  // Every delivery from now on, by deliverFrame or flat out, carries this fault.
  virtual void setFrameFault(FrameFault fault) = 0;
  virtual uint64_t framesDelivered() = 0;

  // --- Holding a call inside the plug-in ---

  // The next call of `op` (openDevice, openDeviceByFd, closeDevice,
  // setProperty, a stream's start, a task's start, depthToPointCloud or
  // setFlag) waits inside the plug-in, after it has been logged, until
  // resume(). One call only. After the wait, the call still uses its object.
  virtual void pauseAt(FakeOp op) = 0;
  // True while a call waits at the pause.
  virtual bool paused() = 0;
  virtual void resume() = 0;

  // --- What the plug-in was asked ---

  virtual std::vector<std::string> calls() = 0;
  virtual void clearCalls() = 0;
  // Stress runs turn the log off so that it doesn't grow without bound.
  virtual void setCallLogEnabled(bool enabled) = 0;
  // Device objects open in the plug-in.
  virtual int32_t openDevices() = 0;
  // driverInstance calls so far, and whether the latest driver object was destroyed.
  virtual int32_t instancesMade() = 0;
  virtual bool driverDestroyed() = 0;

 protected:
  ~FakeDriverControl() = default;
};

typedef FakeDriverControl* (*FakeDriverControlFn)();
#define SARVIK_FAKE_DRIVER_CONTROL_EXPORT "fakeDriverControl"

// A device record as a plug-in would write it.
inline typedefSarvikDeviceInfo makeDeviceRecord(const char* uri, uint32_t connectionType,
                                                uint16_t vendorId = 0x2E5A, uint16_t productId = 0x5001,
                                                const char* serial = "SN0") {
  typedefSarvikDeviceInfo record;
  std::memset(&record, 0, sizeof(record));
  record.vendorId = vendorId;
  record.productId = productId;
  record.ConnectionType = connectionType;
  std::snprintf(record.serialNumber, sizeof(record.serialNumber), "%s", serial);
  std::snprintf(record.name, sizeof(record.name), "fake camera");
  std::snprintf(record.uri, sizeof(record.uri), "%s", uri);
  return record;
}

inline typedefSarvikVideoNodeInfo makeNodeRecord(uint32_t index, const char* path) {
  typedefSarvikVideoNodeInfo record;
  std::memset(&record, 0, sizeof(record));
  record.nodeIndex = index;
  std::snprintf(record.path, sizeof(record.path), "%s", path);
  return record;
}

}  // namespace sarvik_test

// Texts of the call log, by interface:
//   driver: "driverInstance", "setDeviceStateCallback", "initialize",
//     "getDeviceList(room=N)", "getVideoNodeList", "openDevice(URI)",
//     "openDeviceByFd(vid=HEX,pid=HEX,fd=N,path=PATH)", "closeDevice(ID)",
//     "setTaskMode(B)", "setFlag(N)", "setText(TEXT)", "driverDestroy"
//   device: "createStream(T)", "destroyStream", "setProperty(ID,len=N[,value=V])",
//     "getProperty(ID,len=N)", "sendCommand(len=N,W1,W2)", "getConnectionState",
//     "isStreamReady", "depthToPointCloud(w=N,h=N)", "getFrameModeList(T,W1,W2)",
//     "setFrameMode(T,restart=B)", "getCurrentFrameMode(T)", "getDeviceId",
//     "getDeviceFlags", "queryData", "createTask"
//   stream: "setNewFrameCallback(T)", "getFrameBufferSize(T)", "setFrameAllocator(T)",
//     "start(T)", "stop(T)"
//   task (ID is the id of the device that made it): "task.start(ID,W1,W2)",
//     "task.notify(ID,C,A,B,D)", "task.onDeviceState(ID,ADDR,SN,LOCATION,STATE)",
//     "task.control(ID,W1,W2,W3,W4)", "task.isHolding(ID)", "task.getLocation(ID)",
//     "~task(ID)"
// The value of setProperty is the first four bytes as a signed 32-bit number,
// written when the length is at least 4. Null texts print as "(null)".

#endif  // SARVIK_TESTS_SUPPORT_FAKE_DRIVER_CONTROL_H
