#include "host_driver.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "host_device.h"

namespace sarvikhost {

namespace {

constexpr uint32_t kMaxListed = 60;  // the module's table holds no more

void copyText(char* out, size_t room, const std::string& text) {
  std::memset(out, 0, room);
  std::memcpy(out, text.data(), std::min(text.size(), room - 1));
}

}  // namespace

HostDriver::HostDriver(HostOptions options, std::vector<std::unique_ptr<Backend>> backends)
    : m_options(std::move(options)), m_backends(std::move(backends)), m_events(m_options.pluginName) {
  m_simulatedShown = m_options.simulated != SimulatedPolicy::Off;
}

HostDriver::~HostDriver() {
  m_events.stop();
  std::vector<HostDevice*> devices;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    devices.swap(m_devices);
  }
  for (HostDevice* d : devices) delete d;
  for (auto& backend : m_backends) backend->stop();
  m_backends.clear();
}

int32_t HostDriver::initialize() {
  std::call_once(m_started, [this] {
    for (auto& backend : m_backends) backend->start(&m_events);
    if (m_options.simulated == SimulatedPolicy::Auto) {
      // Decided once: cameras that vanish when a real one is plugged in
      // later would surprise an application more than a spare one does.
      std::vector<CameraInfo> real;
      for (auto& backend : m_backends) {
        if (backend->kind() == BackendKind::Real) backend->list(&real);
      }
      m_simulatedShown = real.empty();
    }
    m_events.start([this] {
      for (auto& backend : m_backends) backend->poll();
    });
  });
  return 0;
}

int32_t HostDriver::setDeviceStateCallback(DriverStateCallback callback, void* user) {
  m_events.setCallback(callback, user);
  return 0;
}

std::vector<Backend*> HostDriver::visibleBackends() const {
  std::vector<Backend*> visible;
  for (const auto& backend : m_backends) {
    if (backend->kind() != BackendKind::Simulated || m_simulatedShown) visible.push_back(backend.get());
  }
  return visible;
}

std::vector<CameraInfo> HostDriver::listAll() const {
  std::vector<CameraInfo> cameras;
  for (Backend* backend : visibleBackends()) backend->list(&cameras);
  return cameras;
}

int32_t HostDriver::getDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) {
  if (count == nullptr || (records == nullptr && *count > 0)) return kSarvikErrArgument;
  std::vector<CameraInfo> cameras = listAll();
  const uint32_t room = std::min(*count, kMaxListed);
  uint32_t written = 0;
  for (const CameraInfo& camera : cameras) {
    if (written == room) break;
    typedefSarvikDeviceInfo& r = records[written++];
    std::memset(&r, 0, sizeof r);
    r.vendorId = camera.vendorId;
    r.productId = camera.productId;
    r.ConnectionType = m_options.connectionType;
    copyText(r.serialNumber, sizeof r.serialNumber, camera.serial);
    copyText(r.name, sizeof r.name, camera.name);
    copyText(r.uri, sizeof r.uri, camera.uri);
  }
  *count = written;
  return 0;
}

int32_t HostDriver::getVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count) {
  if (records == nullptr || count == nullptr) return kSarvikErrArgument;
  uint32_t written = 0;
  for (const CameraInfo& camera : listAll()) {
    if (camera.nodePath.empty()) continue;
    if (written == kMaxListed) break;
    typedefSarvikVideoNodeInfo& r = records[written++];
    // The leading word is ours to fill; it carries the back end's camera number.
    r.nodeIndex = camera.index;
    copyText(r.path, sizeof r.path, camera.nodePath);
  }
  *count = written;
  return 0;
}

int32_t HostDriver::adopt(std::unique_ptr<Camera> camera, const CameraInfo& info,
                          sarvik::DeviceInterfaceBase** device) {
  if (!camera) return kSarvikErrState;
  HostDevice* created = new (std::nothrow) HostDevice(info, std::move(camera));
  if (created == nullptr) return kSarvikErrState;
  std::lock_guard<std::mutex> lock(m_lock);
  m_devices.push_back(created);
  *device = created;
  return 0;
}

int32_t HostDriver::openDevice(const char* uri, sarvik::DeviceInterfaceBase** device) {
  if (uri == nullptr || device == nullptr) return kSarvikErrArgument;
  for (Backend* backend : visibleBackends()) {
    std::unique_ptr<Camera> camera;
    CameraInfo info;
    int32_t status = backend->open(uri, &camera, &info);
    if (status == kSarvikErrNotFound) continue;
    if (status != 0) return status;
    return adopt(std::move(camera), info, device);
  }
  return kSarvikErrNotFound;
}

int32_t HostDriver::openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                                   sarvik::DeviceInterfaceBase** device) {
  if (device == nullptr) return kSarvikErrArgument;
  for (Backend* backend : visibleBackends()) {
    std::unique_ptr<Camera> camera;
    CameraInfo info;
    int32_t status = backend->openByFd(vendorId, productId, fd, path != nullptr ? path : "", &camera, &info);
    if (status == kSarvikErrNotFound) continue;
    if (status != 0) return status;
    return adopt(std::move(camera), info, device);
  }
  return kSarvikErrNotFound;
}

int32_t HostDriver::closeDevice(sarvik::DeviceInterfaceBase** device) {
  if (device == nullptr || *device == nullptr) return kSarvikErrArgument;
  HostDevice* found = nullptr;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    auto it = std::find(m_devices.begin(), m_devices.end(), *device);
    if (it == m_devices.end()) return kSarvikErrNotFound;
    found = *it;
    m_devices.erase(it);
  }
  // Stops the sensors with no lock held: their threads may be inside the
  // module's frame callback right now.
  delete found;
  *device = nullptr;
  return 0;
}

int32_t HostDriver::setTaskMode(bool enable) {
  m_taskMode = enable;
  return 0;
}

int32_t HostDriver::setFlag(uint8_t value) {
  m_flag = value;
  return 0;
}

int32_t HostDriver::setText(std::string text) {
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_text = text;
  }
  for (auto& backend : m_backends) {
    int32_t status = backend->text(text);
    if (status != kSarvikErrNotFound) return status;
  }
  return 0;
}

}  // namespace sarvikhost
