#include "fake_control.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "fake_driver.h"
#include "fake_stream.h"

namespace sarvik_test {

std::string formatText(const char* format, ...) {
  char text[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof(text), format, args);
  va_end(args);
  return text;
}

const char* orNull(const char* text) { return text != nullptr ? text : "(null)"; }

FakeControl& FakeControl::instance() {
  // Lives as long as the plug-in's file is loaded: the host deletes tasks after
  // driverDestroy, and they still log here.
  static FakeControl control;
  return control;
}

FakeControl::FakeControl() {
  for (auto& result : m_results) result = 0;
}

FakeControl::~FakeControl() {
  // A variant without driverDestroy leaves its event thread and its driver
  // object to the unload.
  stopEventThread();
  delete m_driver;
  m_driver = nullptr;
}

void FakeControl::log(const std::string& text) {
  if (!m_logEnabled.load()) return;
  std::lock_guard<std::mutex> guard(m_mutex);
  m_calls.push_back(text);
}

std::vector<std::string> FakeControl::calls() {
  std::lock_guard<std::mutex> guard(m_mutex);
  return m_calls;
}

void FakeControl::clearCalls() {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_calls.clear();
}

void FakeControl::pauseAt(FakeOp op) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_pauseOp = static_cast<int>(op);
  m_resumed = false;
}

bool FakeControl::paused() {
  std::lock_guard<std::mutex> guard(m_mutex);
  return m_parked;
}

void FakeControl::resume() {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_resumed = true;
  m_pauseOp = -1;
  m_changed.notify_all();
}

void FakeControl::pausePoint(FakeOp op) {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (m_pauseOp != static_cast<int>(op)) return;
  m_pauseOp = -1;
  m_parked = true;
  m_changed.notify_all();
  m_changed.wait(lock, [&] { return m_resumed; });
  m_parked = false;
  m_resumed = false;
}

void FakeControl::setDevices(const std::vector<typedefSarvikDeviceInfo>& devices) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_devices.assign(devices.begin(), devices.begin() + std::min<size_t>(devices.size(), kFakeMaxRecords));
}

void FakeControl::setReportedCount(int64_t count) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_reportedCount = count;
}

void FakeControl::setVideoNodes(const std::vector<typedefSarvikVideoNodeInfo>& nodes) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_nodes = nodes;
}

void FakeControl::setResult(FakeOp op, int32_t status) {
  if (op == FakeOp::kCount) return;
  m_results[static_cast<int>(op)] = status;
}

void FakeControl::setFdDeviceId(bool hasId, const std::string& id) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_fdHasId = hasId;
  m_fdId = id;
}

bool FakeControl::fdDeviceId(const char* path, std::string* id) {
  std::lock_guard<std::mutex> guard(m_mutex);
  *id = m_fdId.empty() ? std::string("fd:") + orNull(path) : m_fdId;
  return m_fdHasId;
}

void FakeControl::setFrameGeometry(uint32_t width, uint32_t height, uint32_t bytesPerPixel) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_width = width;
  m_height = height;
  m_bytesPerPixel = bytesPerPixel;
}

uint32_t FakeControl::frameBufferSize() {
  std::lock_guard<std::mutex> guard(m_mutex);
  return m_width * m_height * m_bytesPerPixel;
}

void FakeControl::frameGeometry(uint32_t* width, uint32_t* height) {
  std::lock_guard<std::mutex> guard(m_mutex);
  *width = m_width;
  *height = m_height;
}

void FakeControl::setTaskLocation(const std::string& deviceId, const std::string& location) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_taskLocations[deviceId] = location;
}

void FakeControl::setTaskHolding(const std::string& deviceId, bool holding) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_taskHolding[deviceId] = holding;
}

void FakeControl::setDefaultTaskLocation(const std::string& location) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_defaultTaskLocation = location;
}

void FakeControl::setDefaultTaskHolding(bool holding) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_defaultTaskHolding = holding;
}

std::string FakeControl::taskLocation(const std::string& deviceId) {
  std::lock_guard<std::mutex> guard(m_mutex);
  auto found = m_taskLocations.find(deviceId);
  return found != m_taskLocations.end() ? found->second : m_defaultTaskLocation;
}

bool FakeControl::taskHolding(const std::string& deviceId) {
  std::lock_guard<std::mutex> guard(m_mutex);
  auto found = m_taskHolding.find(deviceId);
  return found != m_taskHolding.end() ? found->second : m_defaultTaskHolding;
}

int32_t FakeControl::fillDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) {
  std::lock_guard<std::mutex> guard(m_mutex);
  const uint32_t room = *count;
  const uint32_t written = std::min<uint32_t>(room, static_cast<uint32_t>(m_devices.size()));
  if (records != nullptr) std::copy(m_devices.begin(), m_devices.begin() + written, records);
  *count = m_reportedCount >= 0 ? static_cast<uint32_t>(m_reportedCount) : written;
  return 0;
}

void FakeControl::fillVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count) {
  std::lock_guard<std::mutex> guard(m_mutex);
  // The host's table has room for 60, whatever *count says on entry.
  const uint32_t written = std::min<uint32_t>(60, static_cast<uint32_t>(m_nodes.size()));
  std::copy(m_nodes.begin(), m_nodes.begin() + written, records);
  *count = written;
}

FakeDriver* FakeControl::makeDriver() {
  log("driverInstance");
  auto* driver = new FakeDriver();
  std::lock_guard<std::mutex> guard(m_mutex);
  m_driver = driver;
  ++m_instancesMade;
  m_driverDestroyed = false;
  return driver;
}

void FakeControl::destroyDriver(FakeDriver* driver) {
  log("driverDestroy");
  stopEventThread();
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    if (m_driver == driver) {
      m_driver = nullptr;
      m_callback = nullptr;
      m_callbackUser = nullptr;
    }
  }
  delete driver;
  m_driverDestroyed = true;
}

void FakeControl::setStateCallback(DriverStateCallback callback, void* user) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_callback = callback;
  m_callbackUser = user;
}

FakeControl::Event FakeControl::makeEvent(const char* deviceAddr, const char* sn, const char* location,
                                          uint32_t deviceState) {
  Event event;
  event.addrNull = deviceAddr == nullptr;
  event.snNull = sn == nullptr;
  event.locationNull = location == nullptr;
  event.deviceAddr = deviceAddr != nullptr ? deviceAddr : "";
  event.sn = sn != nullptr ? sn : "";
  event.location = location != nullptr ? location : "";
  event.deviceState = deviceState;
  return event;
}

int32_t FakeControl::raiseEvent(const char* deviceAddr, const char* sn, const char* location,
                                uint32_t deviceState) {
  return postEvent(makeEvent(deviceAddr, sn, location, deviceState), true);
}

int32_t FakeControl::raiseEventAsync(const char* deviceAddr, const char* sn, const char* location,
                                     uint32_t deviceState) {
  return postEvent(makeEvent(deviceAddr, sn, location, deviceState), false);
}

int32_t FakeControl::postEvent(const Event& event, bool wait) {
  std::unique_lock<std::mutex> lock(m_mutex);
  if (m_callback == nullptr) return -1;
  ensureEventThread();
  m_events.push_back(event);
  const uint64_t ticket = ++m_posted;
  m_changed.notify_all();
  if (wait) m_changed.wait(lock, [&] { return m_queuedDone >= ticket; });
  return 0;
}

int32_t FakeControl::startEventStorm(const char* deviceAddr, const char* sn, const char* location,
                                     uint32_t deviceState) {
  std::lock_guard<std::mutex> guard(m_mutex);
  if (m_callback == nullptr) return -1;
  ensureEventThread();
  m_stormEvent = makeEvent(deviceAddr, sn, location, deviceState);
  m_storm = true;
  m_changed.notify_all();
  return 0;
}

void FakeControl::stopEventStorm() {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_storm = false;
}

uint64_t FakeControl::eventsRaised() {
  std::lock_guard<std::mutex> guard(m_mutex);
  return m_eventsRaised;
}

void FakeControl::ensureEventThread() {
  if (m_eventThread.joinable()) return;
  m_stopEvents = false;
  m_eventThread = std::thread([this] { eventLoop(); });
}

void FakeControl::stopEventThread() {
  std::thread thread;
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_stopEvents = true;
    m_storm = false;
    m_changed.notify_all();
    thread.swap(m_eventThread);
  }
  if (!thread.joinable()) return;
  // driverDestroy from a client callback runs on the event thread itself.
  if (thread.get_id() == std::this_thread::get_id()) {
    thread.detach();
  } else {
    thread.join();
  }
}

void FakeControl::eventLoop() {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [&] { return m_stopEvents || !m_events.empty() || m_storm; });
    if (m_stopEvents) break;
    const bool queued = !m_events.empty();
    const Event event = queued ? m_events.front() : m_stormEvent;
    if (queued) m_events.pop_front();
    const DriverStateCallback callback = m_callback;
    void* const user = m_callbackUser;
    lock.unlock();
    // The host rebuilds its table from inside this call: nothing of ours may be held.
    if (callback != nullptr) {
      callback(event.addrNull ? nullptr : event.deviceAddr.c_str(), event.snNull ? nullptr : event.sn.c_str(),
               event.locationNull ? nullptr : event.location.c_str(), event.deviceState, user);
    }
    lock.lock();
    ++m_eventsRaised;
    if (queued) ++m_queuedDone;
    m_changed.notify_all();
  }
  // Events never raised count as done, so that no raiseEvent waits forever.
  m_events.clear();
  m_queuedDone = m_posted;
  m_changed.notify_all();
}

void FakeControl::streamStarted(FakeStream* stream) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_startedStreams.push_back(stream);
}

void FakeControl::streamStopped(FakeStream* stream) {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_startedStreams.erase(std::remove(m_startedStreams.begin(), m_startedStreams.end(), stream),
                         m_startedStreams.end());
  m_changed.wait(lock, [&] { return m_inDelivery.count(stream) == 0; });
}

void FakeControl::eventInsideCall() {
  thread_local bool inside = false;
  if (!m_eventsInside.load() || inside) return;
  DriverStateCallback callback = nullptr;
  void* user = nullptr;
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    callback = m_callback;
    user = m_callbackUser;
  }
  if (callback == nullptr) return;
  inside = true;
  callback("inline://0", "SN-inline", "inline", 0, user);
  inside = false;
}

int32_t FakeControl::deliverFrame(uint32_t sensorType) {
  FakeStream* stream = nullptr;
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    for (auto it = m_startedStreams.rbegin(); it != m_startedStreams.rend(); ++it) {
      if ((*it)->sensorType() == sensorType) {
        stream = *it;
        break;
      }
    }
    if (stream == nullptr) return -1;
    ++m_inDelivery[stream];
  }
  const int32_t status = stream->deliverOnce();
  std::lock_guard<std::mutex> guard(m_mutex);
  if (--m_inDelivery[stream] == 0) m_inDelivery.erase(stream);
  m_changed.notify_all();
  return status;
}

}  // namespace sarvik_test
