// The one context object of the process: every application operation, the
// hosting of the transport plug-ins, the device table and the lists of open
// devices, streams and recorders.
//
// Lock order (never the other way round):
//   m_contextLock -> m_tableLock. m_contextLock and m_streamLock are never held
//   together. m_streamListLock and m_callbackLock are leaf locks: nothing else
//   is taken while one is held. m_tableLock is held across the plug-ins'
//   getDeviceList in a rebuild, never across a client callback.
//   m_streamLock -> m_listenerLock (readFrame).
#ifndef SARVIK_CONTEXT_CONTEXT_H
#define SARVIK_CONTEXT_CONTEXT_H

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "context/device_call_gate.h"
#include "context/operation_gate.h"
#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikDriver.h"

namespace sarvik {

class CriticalSectionWrapper;
class Device;
class MultiStreamsListener;
class StreamRecorder;
class VideoStream;

constexpr uint32_t kDeviceTableSize = 60;
constexpr uint32_t kMaxStreams = 60;
constexpr uint32_t kMaxRecorders = 60;

enum DriverType : int32_t {
  kDriverUvc = 1,
  kDriverNet = 2,
  kDriverThird = 3,
};

// One registration of registerDeviceStateCallback.
struct DeviceStateCallbackRecord {
  DeviceStateCallback callback;
  void* user;
};
static_assert(sizeof(DeviceStateCallbackRecord) == 16, "callback record is 16 bytes");

class Context : public SarvikBaseContext {
 public:
  Context();
  ~Context() override;

  int32_t initialize() override;
  int32_t shutdown() override;
  int32_t initLog(const char* path) override;
  int32_t registerDeviceStateCallback(DeviceStateCallback callback, void* user) override;
  int32_t getDeviceList(typedefSarvikDeviceInfo** list, uint32_t* count) override;
  int32_t getVideoNodeList(typedefSarvikVideoNodeInfo** list, uint32_t* count) override;
  typedefSarvikDeviceInfo* findDeviceByUri(const char* uri) override;
  int32_t openDevice(const char* uri, Device** device) override;
  int32_t openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                         Device** device) override;
  int32_t deviceTaskControl(uint64_t word1, uint64_t word2, uint64_t word3, uint64_t word4) override;
  int32_t closeDevice(Device* device) override;
  int32_t getFrameModeList(Device* device, uint32_t sensorType, uint64_t word1, uint64_t word2) override;
  int32_t setFrameMode(Device* device, uint32_t sensorType, const typedefSarvikFrameMode* mode) override;
  const typedefSarvikFrameMode* getCurrentFrameMode(Device* device, uint32_t sensorType) override;
  int32_t openStream(Device* device, uint32_t streamType, VideoStream** stream, StreamFrameCallback callback,
                     void* user) override;
  int32_t closeStream(VideoStream* stream) override;
  int32_t waitForStreams(VideoStream** streams, int32_t count, VideoStream** readyStream,
                         int32_t timeoutMs) override;
  int32_t readFrame(VideoStream* stream, typedefSarvikFrame** frame, uint32_t timeoutMs) override;
  int32_t releaseFrame(typedefSarvikFrame* frame) override;
  int32_t setDeviceProperty(Device* device, uint32_t id, void* data, uint32_t length) override;
  int32_t getDeviceProperty(Device* device, uint32_t id, void* data, uint32_t* length) override;
  int32_t sendDeviceCommand(Device* device, void* request, uint32_t requestLength, uint64_t word1,
                            uint64_t word2) override;
  int32_t setStreamFlagMode(Device* device, int32_t mode) override;
  int32_t createRecorder(const char* path, StreamRecorder** recorder) override;
  int32_t attachStreamToRecorder(StreamRecorder* recorder, VideoStream* stream) override;
  int32_t startRecorder(StreamRecorder* recorder) override;
  int32_t stopRecorder(StreamRecorder* recorder) override;
  int32_t destroyRecorder(StreamRecorder* recorder) override;
  int32_t queryDeviceData(Device* device, void* data) override;
  int32_t setLogLevel(uint32_t level) override;
  int32_t setLogFilePath(const char* path) override;
  int32_t getDeviceProperty72(Device* device, void* buffer) override;
  void setLastError(uint32_t code) override;
  int32_t reservedVariadic(int32_t first, int32_t second, ...) override;
  int32_t saveBmpSnapshot(const char* fileName) override;
  int32_t depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx,
                            float fy, float cx, float cy, typedefSarvikPoint3D* points, uint32_t encoding,
                            bool clip) override;
  int32_t deviceDepthToPointCloud(Device* device, const uint16_t* depth, uint32_t width, uint32_t height,
                                  float scale, float fx, float fy, float cx, float cy,
                                  typedefSarvikPoint3D* points, uint32_t encoding, bool clip) override;
  int32_t depthToColouredCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx,
                               float fy, float cx, float cy, typedefSarvikPoint3D* points,
                               typedefSarvikRGBA* colours, uint32_t encoding) override;
  int32_t startDeviceTask(Device* device, uint64_t word1, uint64_t word2) override;
  int32_t deviceTaskNotify(uint32_t a, uint32_t b, uint64_t c, uint32_t d) override;
  int32_t setFrameCallback(VideoStream* stream, StreamFrameCallback callback, void* user) override;
  int32_t setUvcDriverFlag(uint8_t value) override;
  int32_t setUvcDriverText(std::string text) override;

  // Slots 44 to 47: the single steps of a stream's life.
  virtual int32_t createStream(Device* device, uint32_t streamType, VideoStream** stream);
  virtual int32_t destroyStream(VideoStream* stream);
  virtual int32_t startStream(VideoStream* stream);
  virtual int32_t stopStream(VideoStream* stream);

  bool isInitialized() const { return m_initialized.load(); }

  // The device-state event of a plug-in, on the plug-in's thread.
  void onDeviceState(const char* deviceAddr, const char* sn, const char* location, uint32_t deviceState);

  // The function handed to every plug-in as its DriverStateCallback.
  static void driverStateCallback(const char* deviceAddr, const char* sn, const char* location,
                                  uint32_t deviceState, void* user);

 private:
  // Guards. Each sets the last error and logs as the failure requires, and
  // returns the status the operation gives (0 when the guard passes).
  int32_t refuseNotInitialized();
  int32_t guardInitialized();
  bool isValidDevice(Device* device);
  // REQUIRES: m_contextLock held by the caller for the whole operation.
  int32_t guardDevice(Device* device, bool openCheck);
  int32_t guardDeviceShort(Device* device);
  bool isValidStream(VideoStream* stream);
  int32_t guardStream(VideoStream* stream);
  bool isValidRecorder(StreamRecorder* recorder);
  // REQUIRES: m_contextLock held by the caller for the whole operation.
  int32_t guardRecorder(StreamRecorder* recorder);
  // A device command: the device guard, then `call` with the plug-in's device
  // object, all under m_contextLock. On a failed guard the result is the
  // guard's status (null for a pointer result).
  template <typename Call>
  auto forwardToDevice(Device* device, bool openCheck, Call call) -> decltype(call(nullptr));
  // -1 with its warning when the caller runs on one of the stream's own threads.
  int32_t refuseOwnStreamThread(VideoStream* stream);
  bool isAnyStreamThread();

  // Start-up and shut-down steps.
  void bindDriver(const char* fileName, int32_t driverType, void** moduleSlot, DriverDestroyFn* destroySlot,
                  const char* successText);
  void unbindFailedDrivers();
  int32_t releaseAll();
  void freeDriverModules();

  // Device table.
  void rebuildDeviceTable();
  const char* findNodePath(const char* uri);
  const char* findTableUri(const char* uri, int32_t* driverType);
  DriverInterfaceBase* driverFor(int32_t driverType);
  VideoStream* firstStreamOf(Device* device);
  bool hasDyingStreamOf(Device* device);
  // True, and the running rebuild asked for another pass, when this thread is
  // inside a rebuild's call to a plug-in's getDeviceList.
  bool raisedInsideRebuild();
  // Ends a stream that closeStream could not remove, so that its device is
  // never deleted under it.
  void forceEndStream(VideoStream* stream);
  uint32_t fillDeviceTable();

  // Multi-stream wait.
  MultiStreamsListener* getThreadListener();
  int32_t waitOnce(VideoStream** streams, int32_t count, MultiStreamsListener* listener, VideoStream** readyStream,
                   uint32_t ms);
  int32_t takeFrame(VideoStream* stream, typedefSarvikFrame** frame);

  // Recording.
  int32_t checkRecordPath(const char* path, char* result);
  void detachFromRecorders(VideoStream* stream);
  void forgetStreamInRecorders(VideoStream* stream);

  std::atomic<bool> m_colourBarReady;
  std::atomic<bool> m_initialized;
  CriticalSectionWrapper* m_contextLock;
  CriticalSectionWrapper* m_streamLock;
  std::list<DeviceStateCallbackRecord*> m_callbacks;
  typedefSarvikDeviceInfo m_deviceTable[kDeviceTableSize];
  uint32_t m_deviceCount;
  typedefSarvikVideoNodeInfo m_nodeTable[kDeviceTableSize];
  uint32_t m_nodeCount;
  std::list<Device*> m_devices;
  std::list<VideoStream*> m_streams;
  std::list<StreamRecorder*> m_recorders;
  std::atomic<DeviceTaskBase*> m_activeTask;
  std::map<uint32_t, MultiStreamsListener*> m_listeners;
  CriticalSectionWrapper* m_listenerLock;
  std::map<int32_t, DriverInterfaceBase*> m_drivers;
  std::map<Device*, DeviceTaskBase*> m_tasks;
  std::map<uint32_t, std::string> streamTypeNames;
  std::atomic<bool> m_shuttingDown;

  // Guards m_deviceTable, m_deviceCount, m_nodeTable and m_nodeCount against a
  // rebuild by a device-state event; held for a search or a rebuild only.
  CriticalSectionWrapper* m_tableLock;
  // Guards m_streams for each walk or change, and nothing else.
  CriticalSectionWrapper* m_streamListLock;
  // Guards m_callbacks while an event copies it.
  CriticalSectionWrapper* m_callbackLock;
  // Operations and events in flight, which shutdown waits for.
  OperationGate m_gate;
  // Devices on their way out of closeDevice: a second close and new tasks are refused.
  std::list<Device*> m_closingDevices;
  // Streams that destroyStream has taken out of m_streams and not yet
  // deleted, guarded by m_streamListLock. Their threads still run: a call
  // from one of them is refused as from any stream's own thread, and
  // closeDevice waits for them before it deletes the Sensors they use. The
  // device is kept beside the stream, and an entry is marked `deleting`
  // before the stream is deleted, so that no walk reads a freed stream.
  struct DyingStream {
    VideoStream* stream;
    Device* device;
    bool deleting;
  };
  std::list<DyingStream> m_dyingStreams;
  // Plug-in calls on device objects made without m_contextLock.
  DeviceCallGate m_deviceCalls;
  // Set while a rebuild fills the table (guarded by m_tableLock): a
  // device-state event raised inside a plug-in's getDeviceList only asks for
  // one more pass instead of rebuilding under the rebuild.
  bool m_tableFilling = false;
  bool m_tableStale = false;

  friend class ContextTestAccess;
};

// The process's context, as made by ContextFactory.
extern Context* g_context;

}  // namespace sarvik

#endif  // SARVIK_CONTEXT_CONTEXT_H
