// The camera the viewer shows: one open device, a StreamReader per sensor the
// page started, the modes and properties of the camera, and the recording.
// Thread-safe: every operation takes the session's lock, so requests from
// several pages run one after another.
#ifndef SARVIK_VIEWER_CAMERA_SESSION_H
#define SARVIK_VIEWER_CAMERA_SESSION_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "api_result.h"
#include "frame_hub.h"
#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikCamera.h"
#include "stream_reader.h"
#include "viewer_recording.h"

namespace sarvik_viewer {

struct ModeList {
  std::vector<SarvikModeRecord> modes;
  int current = -1;  // index into modes; -1 when the camera did not say
};

struct PropertyValue {
  SarvikPropertyInfo info;
  bool hasValue = false;
  int32_t value = 0;
};

struct StreamState {
  uint32_t type;
  StreamCounters counters;
};

class CameraSession {
 public:
  CameraSession(SarvikBaseContext* context, FrameHub* hub);
  ~CameraSession();
  CameraSession(const CameraSession&) = delete;
  CameraSession& operator=(const CameraSession&) = delete;

  // Opens the camera `selector` names (address, serial or index; empty for
  // the first) in place of the current one, whose streams stop.
  ApiResult open(const std::string& selector);
  void close();
  bool isOpen() const;
  typedefSarvikDeviceInfo deviceInfo() const;
  // Sensor types the open camera has.
  std::vector<uint32_t> sensors() const;

  ApiResult modes(uint32_t sensor, ModeList* out);
  // A running stream restarts in the new mode.
  ApiResult setMode(uint32_t sensor, uint32_t index);
  ApiResult start(uint32_t sensor);
  ApiResult stop(uint32_t sensor);
  std::vector<StreamState> streams() const;

  // What the camera lists under kSarvikPropertyList, with current values;
  // unsupported is an empty list, not an error.
  ApiResult properties(std::vector<PropertyValue>* out);
  ApiResult setProperty(uint32_t id, int32_t value);
  // Intrinsics of a sensor in its current mode, false when the camera has none.
  bool intrinsics(uint32_t sensor, SarvikIntrinsics* out);
  bool depthUnit(SarvikDepthUnit* out);
  // Whether the camera answers that it is still connected.
  bool connected();

  ApiResult startRecording(const std::vector<uint32_t>& sensors, const std::string& path);
  ApiResult stopRecording(std::string* path);
  bool recording(std::string* path) const;

 private:
  ApiResult requireOpen() const;
  ApiResult requireSensor(uint32_t sensor) const;
  CloudGeometry cloudGeometry();
  void stopAllLocked();
  MessagePool* poolFor(uint32_t kind);

  SarvikBaseContext* m_context;
  FrameHub* m_hub;
  mutable std::recursive_mutex m_lock;
  sarvik::Device* m_device = nullptr;                           // guarded by m_lock
  typedefSarvikDeviceInfo m_info{};                             // guarded by m_lock
  std::vector<uint32_t> m_sensors;                              // guarded by m_lock
  std::map<uint32_t, std::unique_ptr<StreamReader>> m_readers;  // guarded by m_lock
  std::unique_ptr<ViewerRecording> m_recording;                 // guarded by m_lock
  // Message buffers per kind, kept for the life of the session: pages hold
  // references into them after a stream has stopped.
  std::map<uint32_t, std::unique_ptr<MessagePool>> m_pools;     // guarded by m_lock
};

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_CAMERA_SESSION_H
