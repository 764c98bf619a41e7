#include "sim_driver.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "sim_device.h"

namespace simcam {

namespace {

void copyText(char* out, size_t room, const std::string& text) {
  std::memset(out, 0, room);
  std::memcpy(out, text.data(), std::min(text.size(), room - 1));
}

bool ownsScheme(SimTransport transport, const std::string& uri) {
  return uri.compare(0, 6, transport == kSimTransportNet ? "net://" : "usb://") == 0;
}

}  // namespace

SimDriver::SimDriver(SimTransport transport, const std::string& folder) : m_transport(transport), m_folder(folder) {
  std::string path = m_folder + SimConfig::kFileName;
  m_config.loadFile(path);
  // Only the USB plug-in complains: both read the same file.
  if (m_transport == kSimTransportUsb) {
    for (const std::string& error : m_config.errors()) {
      std::fprintf(stderr, "simcam: %s: %s\n", path.c_str(), error.c_str());
    }
  }
  for (uint32_t i = 0; i < m_config.cameraCount(m_transport); ++i) {
    m_cameras.push_back(Camera{makeProfile(i), m_config.camera(m_transport, i).present});
  }
}

SimDriver::~SimDriver() {
  m_events.stop();
  std::vector<SimDevice*> devices;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    devices.swap(m_devices);
  }
  for (SimDevice* d : devices) delete d;
}

SimCameraProfile SimDriver::makeProfile(uint32_t index) const {
  SimCameraSettings settings = m_config.camera(m_transport, index);
  SimCameraProfile profile;
  profile.transport = m_transport;
  profile.index = index;
  profile.uri = SimConfig::uriOf(m_transport, index);
  if (m_transport == kSimTransportUsb) profile.nodePath = SimConfig::nodePathOf(index);
  profile.serial = settings.serial;
  profile.location = settings.location;
  for (int slot = 0; slot < 4; ++slot) profile.modes[slot] = m_config.modes(m_transport, SimConfig::kSensorTypes[slot]);
  profile.flatOut = m_config.flatOut();
  profile.renderPixels = m_config.renderPixels();
  return profile;
}

int32_t SimDriver::initialize() {
  std::vector<SimHotplugStep> steps;
  for (const SimHotplugStep& step : m_config.hotplug()) {
    if (ownsScheme(m_transport, step.uri)) steps.push_back(step);
  }
  std::string control = m_config.controlFile();
  if (!control.empty() && control[0] != '/') control = m_folder + control;
  m_events.start(std::move(steps), control,
                 [this](const std::string& uri, bool plug) { setPresent(uri, plug); });
  return kSimOk;
}

int32_t SimDriver::setDeviceStateCallback(DriverStateCallback callback, void* user) {
  m_events.setCallback(callback, user);
  return kSimOk;
}

int32_t SimDriver::getDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) {
  if (count == nullptr || (records == nullptr && *count > 0)) return kSimErrArgument;
  const uint32_t room = *count;
  uint32_t written = 0;
  std::lock_guard<std::mutex> lock(m_lock);
  for (const Camera& camera : m_cameras) {
    if (!camera.present) continue;
    if (written == room) break;
    typedefSarvikDeviceInfo& r = records[written++];
    std::memset(&r, 0, sizeof r);
    r.vendorId = kSimVendorId;
    r.productId = m_transport == kSimTransportNet ? kSimNetProductId : kSimUsbProductId;
    r.ConnectionType = m_transport;
    copyText(r.serialNumber, sizeof r.serialNumber, camera.profile.serial);
    copyText(r.name, sizeof r.name,
             m_transport == kSimTransportNet ? "Sarvik Sim Net Camera" : "Sarvik Sim USB Camera");
    copyText(r.uri, sizeof r.uri, camera.profile.uri);
  }
  *count = written;
  return kSimOk;
}

int32_t SimDriver::getVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count) {
  if (records == nullptr || count == nullptr) return kSimErrArgument;
  uint32_t written = 0;
  std::lock_guard<std::mutex> lock(m_lock);
  for (const Camera& camera : m_cameras) {
    if (!camera.present || camera.profile.nodePath.empty()) continue;
    if (written == kSimMaxCameras) break;
    typedefSarvikVideoNodeInfo& r = records[written++];
    // The leading word is ours to fill; it carries the camera's index.
    r.nodeIndex = camera.profile.index;
    copyText(r.path, sizeof r.path, camera.profile.nodePath);
  }
  *count = written;
  return kSimOk;
}

SimDriver::Camera* SimDriver::findCamera(const char* address) {
  for (Camera& camera : m_cameras) {
    if (camera.profile.uri == address || (!camera.profile.nodePath.empty() && camera.profile.nodePath == address)) {
      return &camera;
    }
  }
  return nullptr;
}

// A camera may be opened any number of times; every open is an object of its
// own with its own streams, which is what a second openDeviceByFd gets.
int32_t SimDriver::openOn(Camera* camera, sarvik::DeviceInterfaceBase** device) {
  if (camera == nullptr) return kSimErrNotFound;
  if (!camera->present) return kSimErrDisconnected;
  SimDevice* created = new (std::nothrow) SimDevice(camera->profile);
  if (created == nullptr) return kSimErrState;
  m_devices.push_back(created);
  *device = created;
  return kSimOk;
}

int32_t SimDriver::openDevice(const char* uri, sarvik::DeviceInterfaceBase** device) {
  if (uri == nullptr || device == nullptr) return kSimErrArgument;
  std::lock_guard<std::mutex> lock(m_lock);
  return openOn(findCamera(uri), device);
}

int32_t SimDriver::openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t /*fd*/, const char* path,
                                  sarvik::DeviceInterfaceBase** device) {
  if (device == nullptr) return kSimErrArgument;
  uint32_t ownProduct = m_transport == kSimTransportNet ? kSimNetProductId : kSimUsbProductId;
  if (vendorId != kSimVendorId || productId != ownProduct) return kSimErrNotFound;
  std::lock_guard<std::mutex> lock(m_lock);
  Camera* camera = path != nullptr ? findCamera(path) : nullptr;
  // The descriptor carries no identity here: a path that names no camera of
  // ours means the first one that is plugged in.
  if (camera == nullptr) {
    auto it = std::find_if(m_cameras.begin(), m_cameras.end(), [](const Camera& c) { return c.present; });
    if (it == m_cameras.end()) return kSimErrDisconnected;
    camera = &*it;
  }
  return openOn(camera, device);
}

int32_t SimDriver::closeDevice(sarvik::DeviceInterfaceBase** device) {
  if (device == nullptr || *device == nullptr) return kSimErrArgument;
  SimDevice* found = nullptr;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    auto it = std::find(m_devices.begin(), m_devices.end(), *device);
    if (it == m_devices.end()) return kSimErrNotFound;
    found = *it;
    m_devices.erase(it);
  }
  // Joins the delivery threads with no lock held: they may be inside the
  // host's frame callback right now.
  delete found;
  *device = nullptr;
  return kSimOk;
}

int32_t SimDriver::setTaskMode(bool enable) {
  m_taskMode = enable;
  return kSimOk;
}

int32_t SimDriver::setFlag(uint8_t value) {
  m_flag = value;
  return kSimOk;
}

int32_t SimDriver::setText(std::string text) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_text = std::move(text);
  return kSimOk;
}

int32_t SimDriver::setPresent(const std::string& uri, bool present) {
  std::lock_guard<std::mutex> lock(m_lock);
  auto it = std::find_if(m_cameras.begin(), m_cameras.end(), [&](const Camera& c) { return c.profile.uri == uri; });
  if (it == m_cameras.end()) return -1;
  if (it->present == present) return 1;
  it->present = present;
  if (!present) {
    for (SimDevice* d : m_devices) {
      if (d->profile().index == it->profile.index) d->markUnplugged();
    }
  }
  // Posted under m_lock so that events leave in the order the states changed.
  m_events.post(it->profile.uri, it->profile.serial, it->profile.location, present ? 0 : 1);
  return 0;
}

}  // namespace simcam
