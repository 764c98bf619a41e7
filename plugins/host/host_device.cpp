#include "host_device.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "host_stream.h"

namespace sarvikhost {

namespace {

constexpr uint32_t kSensorTypes[4] = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR,
                                      SARVIK_STREAM_LIGHT_IR};

// getProperty's rule: copy at most the room, report the real length.
int32_t answer(const void* value, uint32_t size, void* data, uint32_t* length) {
  if (size > 0 && *length > 0) std::memcpy(data, value, std::min(size, *length));
  *length = size;
  return 0;
}

// Ids the SDK gives a meaning to; a camera that has no use of them does not
// store them either. Every other id round-trips.
bool isReserved(uint32_t id) {
  return (id >= kSarvikPropertyIntrinsicsBase && id < 0x300) ||
         (id >= kSarvikPropertyV4l2First && id <= kSarvikPropertyV4l2Last);
}

}  // namespace

int HostDevice::slotOf(uint32_t sensorType) {
  for (int i = 0; i < 4; ++i) {
    if (kSensorTypes[i] == sensorType) return i;
  }
  return -1;
}

HostDevice::HostDevice(const CameraInfo& info, std::unique_ptr<Camera> camera)
    : m_info(info), m_camera(std::move(camera)) {
  for (int i = 0; i < 4; ++i) {
    m_modes[i] = &m_camera->modes(kSensorTypes[i]);
    m_current[i] = 0;
  }
  SarvikDeviceInfoBlock block{};
  if (m_camera->deviceInfo(&block)) {
    // Kept in the store like any property, so that every id round-trips; a
    // client that writes id 72 reads back what it wrote.
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&block);
    m_properties[kSarvikPropertyDeviceInfo].assign(bytes, bytes + sizeof block);
  }
}

HostDevice::~HostDevice() {
  std::vector<HostStream*> streams;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    streams.swap(m_streams);
  }
  for (HostStream* s : streams) delete s;
  m_camera.reset();
}

bool HostDevice::currentMode(uint32_t sensorType, SarvikModeRecord* out) const {
  int slot = slotOf(sensorType);
  if (slot < 0 || m_modes[slot]->empty()) return false;
  *out = (*m_modes[slot])[m_current[slot]];
  return true;
}

int32_t HostDevice::createStream(uint32_t sensorType, sarvik::StreamInterfaceBase** stream) {
  if (stream == nullptr) return kSarvikErrArgument;
  int slot = slotOf(sensorType);
  if (slot < 0 || m_modes[slot]->empty()) return kSarvikErrNotFound;
  if (m_camera->connectionState() != 0) return kSarvikErrDisconnected;
  HostStream* created = new (std::nothrow) HostStream(this, sensorType);
  if (created == nullptr) return kSarvikErrState;
  std::lock_guard<std::mutex> lock(m_lock);
  m_streams.push_back(created);
  *stream = created;
  return 0;
}

int32_t HostDevice::destroyStream(sarvik::StreamInterfaceBase** stream) {
  if (stream == nullptr || *stream == nullptr) return kSarvikErrArgument;
  HostStream* found = nullptr;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    auto it = std::find(m_streams.begin(), m_streams.end(), *stream);
    if (it == m_streams.end()) return kSarvikErrNotFound;
    found = *it;
    m_streams.erase(it);
  }
  delete found;  // stops the sensor; no lock of ours is held meanwhile
  *stream = nullptr;
  return 0;
}

int32_t HostDevice::readOnly(uint32_t id, void* data, uint32_t* length) {
  if (id == kSarvikPropertyConnection) {
    uint32_t state = m_camera->connectionState();
    return answer(&state, sizeof state, data, length);
  }
  if (id == kSarvikPropertyDepthUnit) {
    SarvikDepthUnit unit{};
    int32_t status = m_camera->depthUnit(&unit);
    return status != 0 ? status : answer(&unit, sizeof unit, data, length);
  }
  if (id == kSarvikPropertyList) {
    std::vector<SarvikPropertyInfo> list;
    int32_t status = m_camera->propertyList(&list);
    if (status != 0) return status;
    return answer(list.data(), static_cast<uint32_t>(list.size() * sizeof(SarvikPropertyInfo)), data, length);
  }
  // The intrinsics ids: the base plus a stream type.
  SarvikModeRecord mode;
  if (!currentMode(id - kSarvikPropertyIntrinsicsBase, &mode)) return kSarvikErrNotFound;
  SarvikIntrinsics intrinsics{};
  int32_t status = m_camera->intrinsics(id - kSarvikPropertyIntrinsicsBase, mode, &intrinsics);
  return status != 0 ? status : answer(&intrinsics, sizeof intrinsics, data, length);
}

int32_t HostDevice::getProperty(uint32_t id, void* data, uint32_t* length) {
  if (length == nullptr || (data == nullptr && *length > 0)) return kSarvikErrArgument;
  const uint32_t room = *length;
  int32_t status = m_camera->getProperty(id, data, length);
  if (status != kSarvikErrUnsupported) return status;
  *length = room;
  if (id > kSarvikPropertyIntrinsicsBase && id <= kSarvikPropertyConnection) {
    status = readOnly(id, data, length);
    if (status != 0) *length = 0;
    return status;
  }
  std::lock_guard<std::mutex> lock(m_lock);
  auto it = isReserved(id) ? m_properties.end() : m_properties.find(id);
  if (it == m_properties.end()) {
    *length = 0;
    return kSarvikErrNotFound;
  }
  return answer(it->second.data(), static_cast<uint32_t>(it->second.size()), data, length);
}

int32_t HostDevice::setProperty(uint32_t id, void* data, uint32_t length) {
  if (data == nullptr && length > 0) return kSarvikErrArgument;
  int32_t status = m_camera->setProperty(id, data, length);
  if (status != kSarvikErrUnsupported) return status;
  if (id >= kSarvikPropertyIntrinsicsBase && id <= kSarvikPropertyConnection) return kSarvikErrUnsupported;
  if (isReserved(id)) return kSarvikErrNotFound;
  // The module has checked the flag mode's range; the camera takes any value
  // of the right width.
  if (id == kSarvikPropertyStreamFlagMode && length != sizeof(int32_t)) return kSarvikErrArgument;
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  std::lock_guard<std::mutex> lock(m_lock);
  m_properties[id].assign(bytes, bytes + length);
  return 0;
}

int32_t HostDevice::sendCommand(void* request, uint32_t requestLength, uint64_t word1, uint64_t word2) {
  if (request == nullptr || requestLength == 0) return kSarvikErrArgument;
  std::string command(static_cast<const char*>(request), requestLength);
  command.resize(std::strlen(command.c_str()));  // a NUL the caller counted is no part of it
  std::string reply;
  int32_t status = m_camera->command(command, &reply);
  if (status == kSarvikErrNotFound) {
    status = 0;
    if (command == SARVIK_COMMAND_PING) reply = "pong";
    else if (command == SARVIK_COMMAND_VERSION) reply = "sarvik";
    else if (command == SARVIK_COMMAND_SERIAL) reply = m_info.serial;
    else if (command == SARVIK_COMMAND_URI) reply = m_info.uri;
    else if (command == SARVIK_COMMAND_LOCATION) reply = m_info.location;
    else return kSarvikErrNotFound;
  }
  if (status != 0) return status;
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
  return 0;
}

uint32_t HostDevice::getConnectionState() { return m_camera->connectionState(); }

bool HostDevice::isStreamReady() { return m_camera->connectionState() == 0; }

int32_t HostDevice::depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx,
                                      float fy, float cx, float cy, typedefSarvikPoint3D* points, uint32_t encoding,
                                      bool clip) {
  // The camera's own conversion is a plain pinhole one; unlike the module's it
  // refuses what it cannot use instead of guessing intrinsics.
  if (depth == nullptr || points == nullptr) return kSarvikErrArgument;
  if (!(scale > 0.0f && fx > 0.0f && fy > 0.0f)) return kSarvikErrArgument;
  const float unit = encoding == SARVIK_DEPTH_FRACTION_4 ? 0.0625f
                                                          : (encoding == SARVIK_DEPTH_FRACTION_3 ? 0.125f : 0.25f);
  const float cutoff = encoding == SARVIK_DEPTH_FRACTION_4 ? 4095.0f
                                                            : (encoding == SARVIK_DEPTH_FRACTION_3 ? 8191.0f : 16383.0f);
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
  return 0;
}

int32_t HostDevice::getFrameModeList(uint32_t sensorType, uint64_t word1, uint64_t word2) {
  SarvikModeRecord* out = reinterpret_cast<SarvikModeRecord*>(static_cast<uintptr_t>(word1));
  uint32_t* count = reinterpret_cast<uint32_t*>(static_cast<uintptr_t>(word2));
  if (count == nullptr) return kSarvikErrArgument;
  int slot = slotOf(sensorType);
  if (slot < 0 || m_modes[slot]->empty()) {
    *count = 0;
    return kSarvikErrNotFound;
  }
  const std::vector<SarvikModeRecord>& modes = *m_modes[slot];
  if (out == nullptr) {
    *count = static_cast<uint32_t>(modes.size());
    return 0;
  }
  uint32_t n = std::min<uint32_t>(*count, static_cast<uint32_t>(modes.size()));
  std::copy(modes.begin(), modes.begin() + n, out);
  *count = n;
  return 0;
}

int32_t HostDevice::setFrameMode(uint32_t sensorType, const typedefSarvikFrameMode* mode, bool /*restart*/) {
  if (mode == nullptr) return kSarvikErrArgument;
  int slot = slotOf(sensorType);
  if (slot < 0) return kSarvikErrNotFound;
  const std::vector<SarvikModeRecord>& modes = *m_modes[slot];
  for (size_t i = 0; i < modes.size(); ++i) {
    if (sarvikModeEquals(modes[i].mode, *mode)) {
      m_current[slot] = static_cast<uint32_t>(i);
      return 0;
    }
  }
  return kSarvikErrNotFound;
}

const typedefSarvikFrameMode* HostDevice::getCurrentFrameMode(uint32_t sensorType) {
  int slot = slotOf(sensorType);
  if (slot < 0 || m_modes[slot]->empty()) return nullptr;
  // The records never move while the device is open, so the pointer stays good.
  return &(*m_modes[slot])[m_current[slot]].mode;
}

const char* HostDevice::getDeviceId() { return m_info.uri.c_str(); }

uint32_t HostDevice::getDeviceFlags() { return m_info.deviceFlags; }

int32_t HostDevice::queryData(void* data) {
  SarvikDeviceStatus* caller = static_cast<SarvikDeviceStatus*>(data);
  if (caller == nullptr || caller->size < sizeof(uint32_t)) return kSarvikErrArgument;
  SarvikDeviceStatus status{};
  status.version = 1;
  status.connectionState = getConnectionState();
  status.cameraIndex = m_info.index;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    auto flag = m_properties.find(kSarvikPropertyStreamFlagMode);
    if (flag != m_properties.end() && flag->second.size() == sizeof(int32_t)) {
      std::memcpy(&status.streamFlagMode, flag->second.data(), sizeof(int32_t));
    }
    for (HostStream* s : m_streams) {
      int slot = slotOf(s->sensorType());
      // The first stream of a sensor is the one the module uses.
      if (slot >= 0 && status.sensors[slot].sensorType == 0) {
        s->fillStatus(&status.sensors[slot]);
        ++status.sensorCount;
      }
    }
  }
  uint32_t n = std::min<uint32_t>(caller->size, sizeof status);
  status.size = n;
  std::memcpy(caller, &status, n);
  return 0;
}

sarvik::DeviceTaskBase* HostDevice::createTask() { return m_camera->createTask(); }

}  // namespace sarvikhost
