#include "camera_session.h"

#include <algorithm>
#include <cstring>

#include "device_list_cache.h"
#include "frame_message.h"
#include "sarvik/SarvikDevicePick.h"
#include "sarvik/SarvikStatus.h"
#include "sensor_names.h"

namespace sarvik_viewer {
namespace {

using Guard = std::lock_guard<std::recursive_mutex>;

// The most modes or properties read from a camera; a plug-in claiming more
// is cut off here rather than trusted with an allocation.
constexpr uint32_t kMaxModes = 256;
constexpr uint32_t kMaxProperties = 256;
// The hub holds one message of a kind, and each page at most one it is
// writing; the rest lets the reader fill the next while those are busy.
constexpr size_t kMessagesPerKind = 8;

template <typename T>
bool readFixed(SarvikBaseContext* context, sarvik::Device* device, uint32_t id, T* out) {
  T value{};
  uint32_t length = sizeof value;
  if (context->getDeviceProperty(device, id, &value, &length) != kStatusOk || length != sizeof value) return false;
  *out = value;
  return true;
}

}  // namespace

CameraSession::CameraSession(SarvikBaseContext* context, FrameHub* hub) : m_context(context), m_hub(hub) {
  DeviceListCache::instance().follow(context);
}

CameraSession::~CameraSession() { close(); }

ApiResult CameraSession::open(const std::string& selector) {
  Guard guard(m_lock);
  const std::vector<typedefSarvikDeviceInfo> list = DeviceListCache::instance().devices();
  std::string why;
  const typedefSarvikDeviceInfo* picked =
      sarvik::pickDevice(list.data(), static_cast<uint32_t>(list.size()), selector, &why);
  if (picked == nullptr) return ApiResult::fail(404, why);
  const typedefSarvikDeviceInfo chosen = *picked;
  if (m_device != nullptr && std::strncmp(chosen.uri, m_info.uri, sizeof chosen.uri) == 0) return ApiResult();
  close();
  sarvik::Device* device = nullptr;
  const int32_t status = m_context->openDevice(chosen.uri, &device);
  if (status != kStatusOk) return ApiResult::module(std::string("opening ") + chosen.uri, status);
  // A second open of an address gives 0 and no handle: someone in this
  // process holds the camera already.
  if (device == nullptr) return ApiResult::fail(409, std::string(chosen.uri) + " is open elsewhere in this program");
  m_device = device;
  m_info = chosen;
  m_sensors.clear();
  for (uint32_t type : kSensorTypes) {
    uint32_t count = 0;
    if (m_context->getFrameModeList(m_device, type, 0, reinterpret_cast<uint64_t>(&count)) == kStatusOk && count > 0) {
      m_sensors.push_back(type);
    }
  }
  return ApiResult();
}

void CameraSession::close() {
  Guard guard(m_lock);
  stopAllLocked();
  if (m_device != nullptr) m_context->closeDevice(m_device);
  m_device = nullptr;
  m_sensors.clear();
  m_info = typedefSarvikDeviceInfo{};
}

void CameraSession::stopAllLocked() {
  m_recording.reset();
  for (auto& entry : m_readers) entry.second->stop();
  m_readers.clear();
}

bool CameraSession::isOpen() const {
  Guard guard(m_lock);
  return m_device != nullptr;
}

typedefSarvikDeviceInfo CameraSession::deviceInfo() const {
  Guard guard(m_lock);
  return m_info;
}

std::vector<uint32_t> CameraSession::sensors() const {
  Guard guard(m_lock);
  return m_sensors;
}

ApiResult CameraSession::requireOpen() const {
  if (m_device == nullptr) return ApiResult::fail(409, "no camera is open");
  return ApiResult();
}

ApiResult CameraSession::requireSensor(uint32_t sensor) const {
  ApiResult result = requireOpen();
  if (!result.ok()) return result;
  if (sensorName(sensor) == nullptr) return ApiResult::fail(400, "unknown sensor");
  for (uint32_t type : m_sensors) {
    if (type == sensor) return ApiResult();
  }
  return ApiResult::fail(404, std::string("this camera has no ") + sensorName(sensor) + " sensor");
}

ApiResult CameraSession::modes(uint32_t sensor, ModeList* out) {
  Guard guard(m_lock);
  ApiResult result = requireSensor(sensor);
  if (!result.ok()) return result;
  uint32_t count = 0;
  int32_t status = m_context->getFrameModeList(m_device, sensor, 0, reinterpret_cast<uint64_t>(&count));
  if (status != kStatusOk) return ApiResult::module("listing modes", status);
  count = std::min(count, kMaxModes);
  out->modes.assign(count, SarvikModeRecord{});
  status = m_context->getFrameModeList(m_device, sensor, reinterpret_cast<uint64_t>(out->modes.data()),
                                       reinterpret_cast<uint64_t>(&count));
  if (status != kStatusOk) return ApiResult::module("listing modes", status);
  out->modes.resize(std::min<size_t>(count, out->modes.size()));
  out->current = -1;
  const typedefSarvikFrameMode* current = m_context->getCurrentFrameMode(m_device, sensor);
  for (size_t i = 0; current != nullptr && i < out->modes.size(); ++i) {
    if (sarvikModeEquals(out->modes[i].mode, *current)) {
      out->current = static_cast<int>(i);
      break;
    }
  }
  return ApiResult();
}

ApiResult CameraSession::setMode(uint32_t sensor, uint32_t index) {
  Guard guard(m_lock);
  ModeList list;
  ApiResult result = modes(sensor, &list);
  if (!result.ok()) return result;
  if (index >= list.modes.size()) {
    return ApiResult::fail(404, "no mode " + std::to_string(index) + " (" + std::to_string(list.modes.size()) +
                                    " modes)");
  }
  const bool running = m_readers.count(sensor) != 0;
  if (running) stop(sensor);
  const int32_t status = m_context->setFrameMode(m_device, sensor, &list.modes[index].mode);
  if (status != kStatusOk) result = ApiResult::module("setting the mode", status);
  if (running) {
    ApiResult restarted = start(sensor);
    if (result.ok()) result = restarted;
  }
  return result;
}

CloudGeometry CameraSession::cloudGeometry() {
  CloudGeometry geometry;
  SarvikDepthUnit unit;
  if (depthUnit(&unit) && unit.metresPerUnit > 0.0f) {
    geometry.encoding = unit.encoding;
    geometry.scale = 1.0f / unit.metresPerUnit;
  }
  SarvikIntrinsics k;
  if (intrinsics(SARVIK_STREAM_DEPTH, &k)) {
    geometry.fx = k.fx;
    geometry.fy = k.fy;
    geometry.cx = k.cx;
    geometry.cy = k.cy;
  } else {
    // A camera without intrinsics: a 60-degree lens centred on the image
    // looks right for most depth cameras, where the module's own fall-back
    // assumes one particular sensor size.
    const typedefSarvikFrameMode* mode = m_context->getCurrentFrameMode(m_device, SARVIK_STREAM_DEPTH);
    const float width = mode != nullptr && mode->modeValue1 > 0 ? mode->modeValue1 : 640.0f;
    const float height = mode != nullptr && mode->modeValue3 > 0 ? mode->modeValue3 : 480.0f;
    geometry.fx = geometry.fy = width * 0.866f;
    geometry.cx = width / 2;
    geometry.cy = height / 2;
  }
  return geometry;
}

ApiResult CameraSession::start(uint32_t sensor) {
  Guard guard(m_lock);
  ApiResult result = requireSensor(sensor);
  if (!result.ok()) return result;
  if (m_readers.count(sensor) != 0) return ApiResult();
  auto reader = std::make_unique<StreamReader>(m_context, sensor, m_hub, cloudGeometry(), poolFor(sensor),
                                               poolFor(kKindCloud));
  const int32_t status = reader->start(m_device);
  if (status != kStatusOk) return ApiResult::module(std::string("starting the ") + sensorName(sensor) + " stream", status);
  m_readers[sensor] = std::move(reader);
  return ApiResult();
}

MessagePool* CameraSession::poolFor(uint32_t kind) {
  std::unique_ptr<MessagePool>& pool = m_pools[kind];
  if (!pool) pool = std::make_unique<MessagePool>(kMessagesPerKind);
  return pool.get();
}

ApiResult CameraSession::stop(uint32_t sensor) {
  Guard guard(m_lock);
  ApiResult result = requireSensor(sensor);
  if (!result.ok()) return result;
  auto found = m_readers.find(sensor);
  if (found == m_readers.end()) return ApiResult();
  found->second->stop();
  m_readers.erase(found);
  return ApiResult();
}

std::vector<StreamState> CameraSession::streams() const {
  Guard guard(m_lock);
  std::vector<StreamState> states;
  for (const auto& entry : m_readers) states.push_back({entry.first, entry.second->counters()});
  return states;
}

ApiResult CameraSession::properties(std::vector<PropertyValue>* out) {
  Guard guard(m_lock);
  out->clear();
  ApiResult result = requireOpen();
  if (!result.ok()) return result;
  std::vector<SarvikPropertyInfo> infos(kMaxProperties);
  uint32_t length = static_cast<uint32_t>(infos.size() * sizeof(SarvikPropertyInfo));
  const int32_t status = m_context->getDeviceProperty(m_device, kSarvikPropertyList, infos.data(), &length);
  // Cameras that do not list their properties have none to show.
  if (status != kStatusOk || length % sizeof(SarvikPropertyInfo) != 0) return ApiResult();
  infos.resize(std::min<size_t>(length / sizeof(SarvikPropertyInfo), infos.size()));
  for (SarvikPropertyInfo& info : infos) {
    info.name[sizeof info.name - 1] = '\0';  // the camera's text is not trusted to end
    PropertyValue value;
    value.info = info;
    if ((info.flags & kSarvikPropertyReadable) != 0) value.hasValue = readFixed(m_context, m_device, info.id, &value.value);
    out->push_back(value);
  }
  return ApiResult();
}

ApiResult CameraSession::setProperty(uint32_t id, int32_t value) {
  Guard guard(m_lock);
  ApiResult result = requireOpen();
  if (!result.ok()) return result;
  const int32_t status = m_context->setDeviceProperty(m_device, id, &value, sizeof value);
  if (status != kStatusOk) return ApiResult::module("setting property " + std::to_string(id), status);
  return ApiResult();
}

bool CameraSession::intrinsics(uint32_t sensor, SarvikIntrinsics* out) {
  Guard guard(m_lock);
  if (m_device == nullptr) return false;
  SarvikIntrinsics k;
  if (!readFixed(m_context, m_device, kSarvikPropertyIntrinsicsBase + sensor, &k)) return false;
  if (!(k.fx > 0.0f && k.fy > 0.0f && k.width > 0 && k.height > 0)) return false;
  *out = k;
  return true;
}

bool CameraSession::depthUnit(SarvikDepthUnit* out) {
  Guard guard(m_lock);
  return m_device != nullptr && readFixed(m_context, m_device, kSarvikPropertyDepthUnit, out);
}

bool CameraSession::connected() {
  Guard guard(m_lock);
  if (m_device == nullptr) return false;
  uint32_t state = 0;
  // A camera that does not answer is taken as present.
  return !readFixed(m_context, m_device, kSarvikPropertyConnection, &state) || state == 0;
}

ApiResult CameraSession::startRecording(const std::vector<uint32_t>& sensors, const std::string& path) {
  Guard guard(m_lock);
  ApiResult result = requireOpen();
  if (!result.ok()) return result;
  std::vector<uint32_t> chosen = sensors;
  if (chosen.empty()) {
    for (const auto& entry : m_readers) chosen.push_back(entry.first);
  }
  for (uint32_t type : chosen) {
    result = requireSensor(type);
    if (!result.ok()) return result;
  }
  if (m_recording && m_recording->active()) return ApiResult::fail(409, "a recording is running already: " + m_recording->path());
  m_recording = std::make_unique<ViewerRecording>(m_context);
  result = m_recording->start(m_device, chosen, path);
  if (!result.ok()) m_recording.reset();
  return result;
}

ApiResult CameraSession::stopRecording(std::string* path) {
  Guard guard(m_lock);
  if (!m_recording) return ApiResult::fail(409, "no recording is running");
  *path = m_recording->path();
  m_recording.reset();
  return ApiResult();
}

bool CameraSession::recording(std::string* path) const {
  Guard guard(m_lock);
  if (!m_recording) return false;
  *path = m_recording->path();
  return true;
}

}  // namespace sarvik_viewer
