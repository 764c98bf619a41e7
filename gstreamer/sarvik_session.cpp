#include "sarvik_session.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include <condition_variable>
#include <utility>

#include "sarvik/SarvikDevicePick.h"
#include "sarvik/SarvikLoader.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik_gst {

namespace {

std::string statusText(int32_t status) {
  const char* name = sarvikStatusName(status);
  return std::to_string(status) + (name != nullptr ? std::string(" (") + name + ")" : std::string());
}

// The folder of this plug-in's own file, with a trailing '/'; empty if unknown.
std::string pluginFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&pluginFolder), &info) == 0 || info.dli_fname == nullptr) return {};
  const std::string file = info.dli_fname;
  const size_t slash = file.find_last_of('/');
  return slash == std::string::npos ? std::string() : file.substr(0, slash + 1);
}

// SARVIK_MODULE wins. Then the module is looked for relative to this file:
// in the build tree the plug-in sits in lib/gstreamer-1.0 under the module's
// lib/, installed it sits in the GStreamer folder beside the module's own
// folder (SARVIK_GST_MODULE_RELDIR, from the install layout). Last come the
// loader's own places, the baked install folder among them.
bool loadModule(sarvik::ModuleLoader* loader, std::string* error) {
  const char* environment = std::getenv(SARVIK_ENV_MODULE);
  if (environment != nullptr && environment[0] != '\0') return loader->load("", error);
  std::string reasons;
  const std::string folder = pluginFolder();
  if (!folder.empty()) {
    for (const char* relative : {"../", SARVIK_GST_MODULE_RELDIR "/"}) {
      const std::string candidate = folder + relative + SARVIK_MODULE_FILE;
      if (access(candidate.c_str(), F_OK) != 0) continue;
      std::string why;
      if (loader->load(candidate, &why)) return true;
      reasons += "\n" + why;
    }
  }
  if (loader->load("", error)) return true;
  if (error != nullptr) *error += reasons;
  return false;
}

// The context is one object per process: a session that is being torn down
// must be gone before the next one asks the module for its context, or both
// would hold the same object and the old one would shut it down under the new.
std::mutex g_sessionLock;
std::condition_variable g_sessionGone;
std::weak_ptr<Session> g_session;  // guarded by g_sessionLock
bool g_sessionAlive = false;       // guarded by g_sessionLock; true until its teardown ends

}  // namespace

// ---------------------------------------------------------------------------

SharedCamera::SharedCamera(std::shared_ptr<Session> session, std::string address, sarvik::Device* device)
    : m_session(std::move(session)), m_address(std::move(address)), m_device(device) {
  std::lock_guard<std::mutex> guard(m_session->m_watchLock);
  m_session->m_live[m_address] = this;
}

SharedCamera::~SharedCamera() {
  {
    std::lock_guard<std::mutex> guard(m_session->m_watchLock);
    auto it = m_session->m_live.find(m_address);
    if (it != m_session->m_live.end() && it->second == this) m_session->m_live.erase(it);
  }
  m_session->forget(m_address, m_device);
}

SarvikBaseContext* SharedCamera::context() const { return m_session->context(); }

int SharedCamera::addStreamer(uint32_t sensorType) {
  std::lock_guard<std::mutex> guard(m_lock);
  return ++m_streamers[sensorType];
}

void SharedCamera::removeStreamer(uint32_t sensorType) {
  std::lock_guard<std::mutex> guard(m_lock);
  auto it = m_streamers.find(sensorType);
  if (it != m_streamers.end() && --it->second <= 0) m_streamers.erase(it);
}

int SharedCamera::streamers(uint32_t sensorType) const {
  std::lock_guard<std::mutex> guard(m_lock);
  auto it = m_streamers.find(sensorType);
  return it == m_streamers.end() ? 0 : it->second;
}

int SharedCamera::watch(GoneWatcher watcher) {
  std::lock_guard<std::mutex> guard(m_lock);
  const int id = m_nextWatch++;
  m_watchers[id] = std::move(watcher);
  return id;
}

void SharedCamera::unwatch(int id) {
  std::lock_guard<std::mutex> guard(m_lock);
  m_watchers.erase(id);
}

void SharedCamera::markGone() {
  m_gone.store(true, std::memory_order_release);
  std::lock_guard<std::mutex> guard(m_lock);
  for (auto& entry : m_watchers) entry.second();
}

// ---------------------------------------------------------------------------

std::shared_ptr<Session> Session::acquire(std::string* error) {
  std::unique_lock<std::mutex> guard(g_sessionLock);
  if (std::shared_ptr<Session> session = g_session.lock()) return session;
  // The last reference went, but the teardown may still be running.
  g_sessionGone.wait(guard, [] { return !g_sessionAlive; });
  std::unique_ptr<Session> fresh(new Session());
  if (!fresh->start(error)) return nullptr;
  std::shared_ptr<Session> session(fresh.release(), &Session::destroy);
  g_session = session;
  g_sessionAlive = true;
  return session;
}

void Session::destroy(Session* session) {
  std::lock_guard<std::mutex> guard(g_sessionLock);
  delete session;
  g_sessionAlive = false;
  g_sessionGone.notify_all();
}

bool Session::start(std::string* error) {
  // The module stays loaded for the life of the process (see SarvikLoader.h),
  // so the loader does too.
  static sarvik::ModuleLoader* loader = new sarvik::ModuleLoader();
  if (!loader->loaded() && !loadModule(loader, error)) return false;
  m_context = loader->contextFactory()();
  m_deleteContext = loader->deleteContext();
  if (m_context == nullptr) {
    if (error != nullptr) *error = "the SDK module gave no context";
    return false;
  }
  const int32_t status = m_context->initialize();
  if (status != 0) {
    if (error != nullptr) *error = "the SDK context did not initialise: status " + statusText(status);
    m_deleteContext(m_context);
    m_context = nullptr;
    return false;
  }
  m_context->registerDeviceStateCallback(&Session::onDeviceState, this);
  return true;
}

Session::~Session() {
  if (m_context == nullptr) return;
  m_context->shutdown();
  m_deleteContext(m_context);
}

void Session::onDeviceState(const char* address, const char*, uint32_t state, void* user) {
  if (state != 1 || address == nullptr) return;
  auto* session = static_cast<Session*>(user);
  std::lock_guard<std::mutex> guard(session->m_watchLock);
  auto it = session->m_live.find(address);
  if (it != session->m_live.end()) it->second->markGone();
}

std::shared_ptr<SharedCamera> Session::openCamera(const std::string& selector, std::string* error) {
  std::lock_guard<std::mutex> guard(m_lock);
  typedefSarvikDeviceInfo* list = nullptr;
  uint32_t count = 0;
  const int32_t listed = m_context->getDeviceList(&list, &count);
  if (listed != 0) {
    if (error != nullptr) *error = "cannot list cameras: status " + statusText(listed);
    return nullptr;
  }
  const typedefSarvikDeviceInfo* picked = sarvik::pickDevice(list, count, selector, error);
  if (picked == nullptr) return nullptr;
  // Copied at once: a device-state event rewrites the table in place.
  const std::string address(picked->uri, strnlen(picked->uri, sizeof picked->uri));

  auto known = m_cameras.find(address);
  if (known != m_cameras.end()) {
    if (std::shared_ptr<SharedCamera> camera = known->second.lock()) {
      if (!camera->gone()) return camera;
    }
  }
  sarvik::Device* device = nullptr;
  const int32_t opened = m_context->openDevice(address.c_str(), &device);
  if (opened != 0 || device == nullptr) {
    if (error != nullptr) {
      *error = "cannot open camera " + address + ": " +
               (opened != 0 ? "status " + statusText(opened) : std::string("it is open elsewhere in this process"));
    }
    return nullptr;
  }
  auto camera = std::make_shared<SharedCamera>(shared_from_this(), address, device);
  m_cameras[address] = camera;
  return camera;
}

void Session::forget(const std::string& address, sarvik::Device* device) {
  std::lock_guard<std::mutex> guard(m_lock);
  auto it = m_cameras.find(address);
  // A camera that went and came back may have been opened again meanwhile
  // under the same address; only the expired entry is ours to remove.
  if (it != m_cameras.end() && it->second.expired()) m_cameras.erase(it);
  m_context->closeDevice(device);
}

}  // namespace sarvik_gst
