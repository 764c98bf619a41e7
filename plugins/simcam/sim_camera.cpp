#include "sim_camera.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "sim_backend.h"
#include "sim_config.h"
#include "sim_device_task.h"
#include "sim_intrinsics.h"
#include "sim_sensor.h"

namespace simcam {

namespace {

constexpr const char* kFirmwareVersion = "SIM-FW 2.0.182";
constexpr const char* kHardwareId = "SIMCAM-HW-A1";

void copyText(char* out, size_t room, const std::string& text) {
  std::memset(out, 0, room);
  std::memcpy(out, text.data(), std::min(text.size(), room - 1));
}

}  // namespace

SimCamera::SimCamera(const SimCameraProfile& profile, SimBackend* backend) : m_profile(profile), m_backend(backend) {}

SimCamera::~SimCamera() {
  for (int slot = 0; slot < 4; ++slot) stopSensor(SimConfig::kSensorTypes[slot]);
  m_backend->forget(this);
}

const std::vector<SarvikModeRecord>& SimCamera::modes(uint32_t sensorType) {
  int slot = sensorSlot(sensorType);
  return slot < 0 ? m_none : m_profile.modes[slot];
}

int32_t SimCamera::startSensor(uint32_t sensorType, const SarvikModeRecord& mode, sarvikhost::FrameSink* sink) {
  int slot = sensorSlot(sensorType);
  if (slot < 0) return kSimErrNotFound;
  if (!m_connected) return kSimErrDisconnected;
  std::unique_ptr<SimSensor> sensor(new (std::nothrow) SimSensor(sensorType, mode, sink, &m_connected,
                                                                 m_profile.flatOut, m_profile.renderPixels));
  if (!sensor || !sensor->start()) return kSimErrState;
  std::lock_guard<std::mutex> lock(m_lock);
  m_sensors[slot] = std::move(sensor);
  return kSimOk;
}

void SimCamera::stopSensor(uint32_t sensorType) {
  int slot = sensorSlot(sensorType);
  if (slot < 0) return;
  std::unique_ptr<SimSensor> sensor;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    sensor = std::move(m_sensors[slot]);
  }
  sensor.reset();  // joins with no lock held
}

void SimCamera::markUnplugged() {
  m_connected = false;
  std::lock_guard<std::mutex> lock(m_lock);
  for (auto& sensor : m_sensors) {
    if (sensor) sensor->wake();
  }
}

bool SimCamera::deviceInfo(SarvikDeviceInfoBlock* info) {
  *info = SarvikDeviceInfoBlock{};
  info->blockVersion = 1;
  info->blockSize = sizeof *info;
  copyText(info->firmwareVersion, sizeof info->firmwareVersion, kFirmwareVersion);
  copyText(info->serialNumber, sizeof info->serialNumber, m_profile.serial);
  copyText(info->hardwareId, sizeof info->hardwareId, kHardwareId);
  info->vendorId = kSimVendorId;
  info->productId = m_profile.transport == kSimTransportNet ? kSimNetProductId : kSimUsbProductId;
  for (int slot = 0; slot < 4; ++slot) {
    if (!m_profile.modes[slot].empty()) info->sensorMask |= SimConfig::kSensorTypes[slot];
  }
  info->cameraIndex = static_cast<uint16_t>(m_profile.index);
  return true;
}

int32_t SimCamera::command(const std::string& text, std::string* reply) {
  if (text != SARVIK_COMMAND_VERSION) return kSimErrNotFound;
  *reply = kFirmwareVersion;
  return kSimOk;
}

int32_t SimCamera::intrinsics(uint32_t, const SarvikModeRecord& mode, SarvikIntrinsics* out) {
  *out = simIntrinsics(mode.mode);
  return kSimOk;
}

int32_t SimCamera::depthUnit(SarvikDepthUnit* out) {
  *out = simDepthUnit();
  return kSimOk;
}

sarvik::DeviceTaskBase* SimCamera::createTask() { return new (std::nothrow) SimDeviceTask(m_profile.location); }

}  // namespace simcam
