// One open device: the module's view of a back end's Camera.
#ifndef SARVIK_HOST_DEVICE_H
#define SARVIK_HOST_DEVICE_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "host_backend.h"

namespace sarvikhost {

class HostStream;

// Positions the module never calls keep the interface's placeholders.
class HostDevice final : public sarvik::DeviceInterfaceBase {
 public:
  HostDevice(const CameraInfo& info, std::unique_ptr<Camera> camera);
  ~HostDevice();  // destroys the streams left, then the camera
  HostDevice(const HostDevice&) = delete;
  HostDevice& operator=(const HostDevice&) = delete;

  int32_t createStream(uint32_t sensorType, sarvik::StreamInterfaceBase** stream) override;
  int32_t destroyStream(sarvik::StreamInterfaceBase** stream) override;
  int32_t setProperty(uint32_t id, void* data, uint32_t length) override;
  int32_t getProperty(uint32_t id, void* data, uint32_t* length) override;
  int32_t sendCommand(void* request, uint32_t requestLength, uint64_t word1, uint64_t word2) override;
  uint32_t getConnectionState() override;
  bool isStreamReady() override;
  int32_t depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx, float fy,
                            float cx, float cy, typedefSarvikPoint3D* points, uint32_t encoding,
                            bool clip) override;
  // Words as sarvik/SarvikCamera.h says.
  int32_t getFrameModeList(uint32_t sensorType, uint64_t word1, uint64_t word2) override;
  int32_t setFrameMode(uint32_t sensorType, const typedefSarvikFrameMode* mode, bool restart) override;
  const typedefSarvikFrameMode* getCurrentFrameMode(uint32_t sensorType) override;
  const char* getDeviceId() override;
  uint32_t getDeviceFlags() override;
  int32_t queryData(void* data) override;
  sarvik::DeviceTaskBase* createTask() override;

  Camera& camera() { return *m_camera; }
  const CameraInfo& info() const { return m_info; }
  // Lock-free: streams ask for it from the back end's threads.
  bool currentMode(uint32_t sensorType, SarvikModeRecord* out) const;

 private:
  static int slotOf(uint32_t sensorType);  // 0..3 in the fixed sensor order, or -1
  int32_t readOnly(uint32_t id, void* data, uint32_t* length);

  const CameraInfo m_info;
  std::unique_ptr<Camera> m_camera;
  const std::vector<SarvikModeRecord>* m_modes[4];  // the camera's lists, fixed while open
  std::atomic<uint32_t> m_current[4];

  std::mutex m_lock;  // guards the two members below
  std::map<uint32_t, std::vector<uint8_t>> m_properties;
  std::vector<HostStream*> m_streams;  // owned
};

}  // namespace sarvikhost

#endif  // SARVIK_HOST_DEVICE_H
