#include "sim_backend.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "../host/host_settings.h"
#include "sim_camera.h"

namespace simcam {

namespace {

// Every SimBackend alive in this library, for the test exports.
std::mutex g_registryLock;
std::vector<SimBackend*> g_backends;

bool ownsScheme(SimTransport transport, const std::string& uri) {
  return uri.compare(0, 6, transport == kSimTransportNet ? "net://" : "usb://") == 0;
}

}  // namespace

SimBackend::SimBackend(SimTransport transport) : m_transport(transport) {
  for (const std::string& path : sarvikhost::settingsFiles(SimConfig::kFileName)) {
    m_config.loadFile(path);
    // Only the USB plug-in complains: both read the same file.
    if (m_transport == kSimTransportUsb) {
      for (const std::string& error : m_config.errors()) {
        std::fprintf(stderr, "simcam: %s: %s\n", path.c_str(), error.c_str());
      }
    }
  }
  const char* forced = std::getenv(SARVIK_ENV_SIM_CAMERAS);
  if (m_transport == kSimTransportUsb && forced != nullptr && forced[0] != '\0') {
    if (!m_config.parse(std::string("usb.cameras = ") + forced)) {
      std::fprintf(stderr, "simcam: %s=%s is not a number of cameras from 0 to 60\n", SARVIK_ENV_SIM_CAMERAS,
                   forced);
    }
  }
  for (uint32_t i = 0; i < m_config.cameraCount(m_transport); ++i) {
    m_slots.push_back(Slot{makeProfile(i), m_config.camera(m_transport, i).present});
  }
  std::lock_guard<std::mutex> lock(g_registryLock);
  g_backends.push_back(this);
}

SimBackend::~SimBackend() {
  std::lock_guard<std::mutex> lock(g_registryLock);
  g_backends.erase(std::remove(g_backends.begin(), g_backends.end(), this), g_backends.end());
}

SimCameraProfile SimBackend::makeProfile(uint32_t index) const {
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

sarvikhost::CameraInfo SimBackend::infoOf(const SimCameraProfile& profile) const {
  sarvikhost::CameraInfo info;
  info.uri = profile.uri;
  info.serial = profile.serial;
  info.name = m_transport == kSimTransportNet ? "Sarvik Sim Net Camera" : "Sarvik Sim USB Camera";
  info.location = profile.location;
  info.nodePath = profile.nodePath;
  info.vendorId = kSimVendorId;
  info.productId = m_transport == kSimTransportNet ? kSimNetProductId : kSimUsbProductId;
  info.index = profile.index;
  info.deviceFlags = kSimDeviceFlags;
  return info;
}

void SimBackend::start(sarvikhost::HostEvents* events) {
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_events = events;
  }
  std::vector<SimHotplugStep> steps;
  for (const SimHotplugStep& step : m_config.hotplug()) {
    if (ownsScheme(m_transport, step.uri)) steps.push_back(step);
  }
  std::string control = m_config.controlFile();
  if (!control.empty() && control[0] != '/') control = sarvikhost::pluginFolder() + control;
  m_hotplug.start(std::move(steps), control, [this](const std::string& uri, bool plug) { setPresent(uri, plug); });
}

void SimBackend::poll() { m_hotplug.poll(); }

void SimBackend::stop() {
  std::lock_guard<std::mutex> lock(m_lock);
  m_events = nullptr;
}

void SimBackend::list(std::vector<sarvikhost::CameraInfo>* out) {
  std::lock_guard<std::mutex> lock(m_lock);
  for (const Slot& slot : m_slots) {
    if (slot.present) out->push_back(infoOf(slot.profile));
  }
}

SimBackend::Slot* SimBackend::find(const std::string& address) {
  for (Slot& slot : m_slots) {
    if (slot.profile.uri == address || (!slot.profile.nodePath.empty() && slot.profile.nodePath == address)) {
      return &slot;
    }
  }
  return nullptr;
}

// A camera may be opened any number of times; every open is an object of its
// own with its own streams, which is what a second openDeviceByFd gets.
int32_t SimBackend::openOn(Slot* slot, std::unique_ptr<sarvikhost::Camera>* out, sarvikhost::CameraInfo* info) {
  if (!slot->present) return kSimErrDisconnected;
  SimCamera* created = new (std::nothrow) SimCamera(slot->profile, this);
  if (created == nullptr) return kSimErrState;
  m_open.push_back(created);
  out->reset(created);
  *info = infoOf(slot->profile);
  return kSimOk;
}

int32_t SimBackend::open(const std::string& address, std::unique_ptr<sarvikhost::Camera>* out,
                         sarvikhost::CameraInfo* info) {
  std::lock_guard<std::mutex> lock(m_lock);
  Slot* slot = find(address);
  if (slot == nullptr) return kSimErrNotFound;
  return openOn(slot, out, info);
}

int32_t SimBackend::openByFd(uint32_t vendorId, uint32_t productId, uint32_t /*fd*/, const std::string& path,
                             std::unique_ptr<sarvikhost::Camera>* out, sarvikhost::CameraInfo* info) {
  uint32_t ownProduct = m_transport == kSimTransportNet ? kSimNetProductId : kSimUsbProductId;
  if (vendorId != kSimVendorId || productId != ownProduct) return kSimErrNotFound;
  std::lock_guard<std::mutex> lock(m_lock);
  Slot* slot = path.empty() ? nullptr : find(path);
  // The descriptor carries no identity here: a path that names no camera of
  // ours means the first one that is plugged in.
  if (slot == nullptr) {
    auto it = std::find_if(m_slots.begin(), m_slots.end(), [](const Slot& s) { return s.present; });
    if (it == m_slots.end()) return kSimErrDisconnected;
    slot = &*it;
  }
  return openOn(slot, out, info);
}

void SimBackend::forget(SimCamera* camera) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_open.erase(std::remove(m_open.begin(), m_open.end(), camera), m_open.end());
}

int32_t SimBackend::setPresent(const std::string& uri, bool present) {
  std::lock_guard<std::mutex> lock(m_lock);
  auto it = std::find_if(m_slots.begin(), m_slots.end(), [&](const Slot& s) { return s.profile.uri == uri; });
  if (it == m_slots.end()) return -1;
  if (it->present == present) return 1;
  it->present = present;
  if (!present) {
    for (SimCamera* camera : m_open) {
      if (camera->profile().index == it->profile.index) camera->markUnplugged();
    }
  }
  // Posted under m_lock so that events leave in the order the states changed.
  if (m_events != nullptr) m_events->post(it->profile.uri, it->profile.serial, it->profile.location, present ? 0 : 1);
  return 0;
}

int32_t simSetPresentEverywhere(const char* uri, bool present) {
  if (uri == nullptr) return -1;
  std::lock_guard<std::mutex> lock(g_registryLock);
  int32_t result = -1;
  for (SimBackend* backend : g_backends) {
    int32_t r = backend->setPresent(uri, present);
    if (r >= 0 && result < 0) result = r;
  }
  return result;
}

}  // namespace simcam
