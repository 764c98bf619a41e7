// One open simulated camera. Each open makes a new object; once its camera is
// unplugged it stays disconnected, and the application opens the camera again
// after it is plugged back.
#ifndef SIMCAM_SIM_CAMERA_H
#define SIMCAM_SIM_CAMERA_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "../host/host_backend.h"
#include "sim_camera_profile.h"

namespace simcam {

class SimBackend;
class SimSensor;

class SimCamera final : public sarvikhost::Camera {
 public:
  // backend outlives the camera; it is told when the camera goes.
  SimCamera(const SimCameraProfile& profile, SimBackend* backend);
  ~SimCamera() override;

  const std::vector<SarvikModeRecord>& modes(uint32_t sensorType) override;
  int32_t startSensor(uint32_t sensorType, const SarvikModeRecord& mode, sarvikhost::FrameSink* sink) override;
  void stopSensor(uint32_t sensorType) override;
  uint32_t connectionState() override { return m_connected ? 0 : 1; }
  bool deviceInfo(SarvikDeviceInfoBlock* out) override;
  int32_t command(const std::string& text, std::string* reply) override;
  sarvik::DeviceTaskBase* createTask() override;
  // Where the simulated intrinsics answer (kSarvikPropertyIntrinsicsBase + type).
  int32_t intrinsics(uint32_t sensorType, const SarvikModeRecord& mode, SarvikIntrinsics* out) override;
  int32_t depthUnit(SarvikDepthUnit* out) override;

  const SimCameraProfile& profile() const { return m_profile; }
  // For good; stops the frames of every sensor.
  void markUnplugged();

 private:
  const SimCameraProfile m_profile;
  SimBackend* const m_backend;
  const std::vector<SarvikModeRecord> m_none;
  std::atomic<bool> m_connected{true};

  std::mutex m_lock;
  std::unique_ptr<SimSensor> m_sensors[4];  // guarded by m_lock
};

}  // namespace simcam

#endif  // SIMCAM_SIM_CAMERA_H
