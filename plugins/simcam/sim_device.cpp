#include "sim_device.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "sim_config.h"
#include "sim_device_task.h"
#include "sim_intrinsics.h"
#include "sim_stream.h"

namespace simcam {

namespace {

constexpr const char* kFirmwareVersion = "SIM-FW 2.0.182";
constexpr const char* kHardwareId = "SIMCAM-HW-A1";

void copyText(char* out, size_t room, const std::string& text) {
  std::memset(out, 0, room);
  std::memcpy(out, text.data(), std::min(text.size(), room - 1));
}

}  // namespace

SimDevice::SimDevice(const SimCameraProfile& profile) : m_profile(profile) {
  for (auto& current : m_current) current = 0;
  storeDeviceInfo();
}

SimDevice::~SimDevice() { closeStreams(); }

void SimDevice::storeDeviceInfo() {
  SimDeviceInfoBlock info{};
  info.blockVersion = 1;
  info.blockSize = sizeof info;
  copyText(info.firmwareVersion, sizeof info.firmwareVersion, kFirmwareVersion);
  copyText(info.serialNumber, sizeof info.serialNumber, m_profile.serial);
  copyText(info.hardwareId, sizeof info.hardwareId, kHardwareId);
  info.vendorId = kSimVendorId;
  info.productId = m_profile.transport == kSimTransportNet ? kSimNetProductId : kSimUsbProductId;
  for (int slot = 0; slot < 4; ++slot) {
    if (!m_profile.modes[slot].empty()) info.sensorMask |= SimConfig::kSensorTypes[slot];
  }
  info.cameraIndex = static_cast<uint16_t>(m_profile.index);
  // Kept in the store like any property, so that every id round-trips; a
  // client that writes id 72 reads back what it wrote.
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&info);
  m_properties[kSimPropertyDeviceInfo].assign(bytes, bytes + sizeof info);
}

bool SimDevice::currentMode(uint32_t sensorType, SimFrameMode* out) const {
  int slot = sensorSlot(sensorType);
  if (slot < 0 || m_profile.modes[slot].empty()) return false;
  *out = m_profile.modes[slot][m_current[slot]];
  return true;
}

int32_t SimDevice::createStream(uint32_t sensorType, sarvik::StreamInterfaceBase** stream) {
  if (stream == nullptr) return kSimErrArgument;
  int slot = sensorSlot(sensorType);
  if (slot < 0 || m_profile.modes[slot].empty()) return kSimErrNotFound;
  if (!m_connected) return kSimErrDisconnected;
  SimStream* created = new (std::nothrow) SimStream(this, sensorType, m_profile.flatOut, m_profile.renderPixels);
  if (created == nullptr) return kSimErrState;
  std::lock_guard<std::mutex> lock(m_lock);
  m_streams.push_back(created);
  *stream = created;
  return kSimOk;
}

int32_t SimDevice::destroyStream(sarvik::StreamInterfaceBase** stream) {
  if (stream == nullptr || *stream == nullptr) return kSimErrArgument;
  SimStream* found = nullptr;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    auto it = std::find(m_streams.begin(), m_streams.end(), *stream);
    if (it == m_streams.end()) return kSimErrNotFound;
    found = *it;
    m_streams.erase(it);
  }
  delete found;  // joins its thread; no lock of ours is held meanwhile
  *stream = nullptr;
  return kSimOk;
}

void SimDevice::closeStreams() {
  std::vector<SimStream*> streams;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    streams.swap(m_streams);
  }
  for (SimStream* s : streams) delete s;
}

void SimDevice::markUnplugged() {
  m_connected = false;
  std::lock_guard<std::mutex> lock(m_lock);
  for (SimStream* s : m_streams) s->onUnplugged();
}

int32_t SimDevice::setProperty(uint32_t id, void* data, uint32_t length) {
  if (data == nullptr && length > 0) return kSimErrArgument;
  // The host has checked the flag mode's range; the camera takes any value
  // of the right width.
  if (id == kSimPropertyStreamFlagMode && length != sizeof(int32_t)) return kSimErrArgument;
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  std::lock_guard<std::mutex> lock(m_lock);
  m_properties[id].assign(bytes, bytes + length);
  return kSimOk;
}

int32_t SimDevice::getProperty(uint32_t id, void* data, uint32_t* length) {
  if (length == nullptr || (data == nullptr && *length > 0)) return kSimErrArgument;
  SimFrameMode mode;
  const bool haveSensor = currentMode(id - kSarvikPropertyIntrinsicsBase, &mode);
  if (isSimOpticsProperty(id)) return simOpticsProperty(id, haveSensor ? &mode.mode : nullptr, data, length);
  std::lock_guard<std::mutex> lock(m_lock);
  auto it = m_properties.find(id);
  if (it == m_properties.end()) {
    *length = 0;
    return kSimErrNotFound;
  }
  uint32_t real = static_cast<uint32_t>(it->second.size());
  if (real > 0 && *length > 0) std::memcpy(data, it->second.data(), std::min(real, *length));
  *length = real;
  return kSimOk;
}

int32_t SimDevice::sendCommand(void* request, uint32_t requestLength, uint64_t word1, uint64_t word2) {
  if (request == nullptr || requestLength == 0) return kSimErrArgument;
  std::string command(static_cast<const char*>(request), requestLength);
  command.resize(std::strlen(command.c_str()));  // a NUL the caller counted is no part of it
  std::string reply;
  if (command == "ping") reply = "pong";
  else if (command == "version") reply = kFirmwareVersion;
  else if (command == "serial") reply = m_profile.serial;
  else if (command == "uri") reply = m_profile.uri;
  else if (command == "location") reply = m_profile.location;
  else return kSimErrNotFound;
  char* out = reinterpret_cast<char*>(static_cast<uintptr_t>(word1));
  uint32_t* room = reinterpret_cast<uint32_t*>(static_cast<uintptr_t>(word2));
  if (room != nullptr) {
    if (out != nullptr && *room > 0) {
      size_t n = std::min<size_t>(reply.size(), *room - 1);
      std::memcpy(out, reply.data(), n);
      out[n] = '\0';
    }
    *room = static_cast<uint32_t>(reply.size());
  }
  return kSimOk;
}

uint32_t SimDevice::getConnectionState() { return m_connected ? 0 : 1; }

bool SimDevice::isStreamReady() { return m_connected; }

int32_t SimDevice::depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx,
                                     float fy, float cx, float cy, typedefSarvikPoint3D* points, uint32_t encoding,
                                     bool clip) {
  // The camera's own conversion is a plain pinhole one; unlike the host's it
  // refuses what it cannot use instead of guessing intrinsics.
  if (depth == nullptr || points == nullptr) return kSimErrArgument;
  if (!(scale > 0.0f && fx > 0.0f && fy > 0.0f)) return kSimErrArgument;
  const float unit = encoding == 1 ? 0.0625f : (encoding == 2 ? 0.125f : 0.25f);
  const float cutoff = encoding == 1 ? 4095.0f : (encoding == 2 ? 8191.0f : 16383.0f);
  for (uint32_t row = 0; row < height; ++row) {
    for (uint32_t col = 0; col < width; ++col) {
      size_t i = static_cast<size_t>(row) * width + col;
      float d = depth[i] * unit;
      if (d <= 0.0f || (clip && d >= cutoff)) {
        points[i] = typedefSarvikPoint3D{0.0f, 0.0f, 0.0f};
        continue;
      }
      float z = d / scale;
      float x = (static_cast<float>(col) - cx) * z / fx;
      float y = (static_cast<float>(row) - cy) * z / fy;
      points[i] = typedefSarvikPoint3D{x, y, z};
    }
  }
  return kSimOk;
}

int32_t SimDevice::getFrameModeList(uint32_t sensorType, uint64_t word1, uint64_t word2) {
  SimFrameMode* out = reinterpret_cast<SimFrameMode*>(static_cast<uintptr_t>(word1));
  uint32_t* count = reinterpret_cast<uint32_t*>(static_cast<uintptr_t>(word2));
  if (count == nullptr) return kSimErrArgument;
  int slot = sensorSlot(sensorType);
  if (slot < 0 || m_profile.modes[slot].empty()) {
    *count = 0;
    return kSimErrNotFound;
  }
  const std::vector<SimFrameMode>& modes = m_profile.modes[slot];
  if (out == nullptr) {
    *count = static_cast<uint32_t>(modes.size());
    return kSimOk;
  }
  uint32_t n = std::min<uint32_t>(*count, static_cast<uint32_t>(modes.size()));
  std::copy(modes.begin(), modes.begin() + n, out);
  *count = n;
  return kSimOk;
}

int32_t SimDevice::setFrameMode(uint32_t sensorType, const typedefSarvikFrameMode* mode, bool /*restart*/) {
  if (mode == nullptr) return kSimErrArgument;
  int slot = sensorSlot(sensorType);
  if (slot < 0) return kSimErrNotFound;
  const std::vector<SimFrameMode>& modes = m_profile.modes[slot];
  for (size_t i = 0; i < modes.size(); ++i) {
    if (simModeEquals(modes[i].mode, *mode)) {
      m_current[slot] = static_cast<uint32_t>(i);
      return kSimOk;
    }
  }
  return kSimErrNotFound;
}

const typedefSarvikFrameMode* SimDevice::getCurrentFrameMode(uint32_t sensorType) {
  int slot = sensorSlot(sensorType);
  if (slot < 0 || m_profile.modes[slot].empty()) return nullptr;
  // The records never move while the device is open, so the pointer stays good.
  return &m_profile.modes[slot][m_current[slot]].mode;
}

const char* SimDevice::getDeviceId() { return m_profile.uri.c_str(); }

uint32_t SimDevice::getDeviceFlags() { return kSimDeviceFlags; }

int32_t SimDevice::queryData(void* data) {
  SimDeviceStatus* caller = static_cast<SimDeviceStatus*>(data);
  if (caller == nullptr || caller->size < sizeof(uint32_t)) return kSimErrArgument;
  SimDeviceStatus status{};
  status.version = 1;
  status.connectionState = getConnectionState();
  status.cameraIndex = m_profile.index;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    auto flag = m_properties.find(kSimPropertyStreamFlagMode);
    if (flag != m_properties.end() && flag->second.size() == sizeof(int32_t)) {
      std::memcpy(&status.streamFlagMode, flag->second.data(), sizeof(int32_t));
    }
    for (SimStream* s : m_streams) {
      int slot = sensorSlot(s->sensorType());
      // The first stream of a sensor is the one the host uses.
      if (slot >= 0 && status.sensors[slot].sensorType == 0) {
        s->fillStatus(&status.sensors[slot]);
        ++status.sensorCount;
      }
    }
  }
  uint32_t n = std::min<uint32_t>(caller->size, sizeof status);
  status.size = n;
  std::memcpy(caller, &status, n);
  return kSimOk;
}

sarvik::DeviceTaskBase* SimDevice::createTask() { return new (std::nothrow) SimDeviceTask(m_profile.location); }

}  // namespace simcam
