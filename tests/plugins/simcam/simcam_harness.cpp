#include "simcam_harness.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace simcamtest {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "simcam-test-XXXXXX").string();
  if (mkdtemp(&pattern[0]) == nullptr) throw std::runtime_error("mkdtemp failed");
  m_path = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

void TempDir::write(const std::string& name, const std::string& text) const {
  std::ofstream(file(name), std::ios::binary | std::ios::trunc) << text;
}

void TempDir::append(const std::string& name, const std::string& text) const {
  std::ofstream(file(name), std::ios::binary | std::ios::app) << text;
}

Plugin::Plugin(const TempDir& dir, const char* fileName) {
  std::string copy = dir.file(fileName);
  std::filesystem::copy_file(std::string(SARVIK_BUILD_LIB_DIR) + "/" + fileName, copy,
                             std::filesystem::copy_options::overwrite_existing);
  m_handle = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (m_handle == nullptr) throw std::runtime_error(dlerror());
  instance = reinterpret_cast<DriverInstanceFn>(dlsym(m_handle, SARVIK_DRIVER_INSTANCE_EXPORT));
  destroy = reinterpret_cast<DriverDestroyFn>(dlsym(m_handle, SARVIK_DRIVER_DESTROY_EXPORT));
  unplug = reinterpret_cast<int32_t (*)(const char*)>(dlsym(m_handle, "simcamUnplug"));
  plug = reinterpret_cast<int32_t (*)(const char*)>(dlsym(m_handle, "simcamPlug"));
  if (!instance || !destroy || !unplug || !plug) throw std::runtime_error("an export is missing");
}

Plugin::~Plugin() {
  if (m_handle != nullptr) dlclose(m_handle);
}

Driver::Driver(Plugin& plugin, DriverStateCallback callback, void* user)
    : m_plugin(plugin), m_driver(plugin.instance()) {
  if (m_driver == nullptr) throw std::runtime_error("driverInstance gave null");
  m_driver->setDeviceStateCallback(callback, user);
  m_driver->initialize();
}

Driver::~Driver() { destroy(); }

void Driver::destroy() {
  if (m_driver != nullptr) m_plugin.destroy(m_driver);
  m_driver = nullptr;
}

sarvik::DeviceInterfaceBase* Driver::open(const char* uri) {
  sarvik::DeviceInterfaceBase* device = nullptr;
  return m_driver->openDevice(uri, &device) == 0 ? device : nullptr;
}

uint32_t Driver::listedCount() {
  typedefSarvikDeviceInfo records[60];
  uint32_t count = 60;
  m_driver->getDeviceList(records, &count);
  return count;
}

namespace {

class FakeFrame final : public sarvik::SarvikFrameRef {
 public:
  FakeFrame(uint32_t capacity, std::atomic<int>* live) : m_capacity(capacity), m_live(live) {
    data = capacity > 0 ? std::malloc(capacity) : nullptr;
    ++*m_live;
  }
  ~FakeFrame() override { --*m_live; }
  uint32_t bufferCapacity() override { return m_capacity; }

 private:
  uint32_t m_capacity;
  std::atomic<int>* m_live;
};

}  // namespace

sarvik::FrameRefPtr FakeAllocator::allocate() {
  uint64_t n = ++m_calls;
  if (m_closed) ++m_callsAfterClose;
  uint64_t every = m_failEvery;
  if (every != 0 && n % every == 0) return sarvik::FrameRefPtr();
  return sarvik::FrameRefPtr(new FakeFrame(m_capacity, &m_live));
}

void FrameSink::onFrame(sarvik::SarvikFrameRef* frame, void* user) {
  FrameSink* self = static_cast<FrameSink*>(user);
  if (self->m_closed) ++self->m_late;
  FrameInfo info{frame->frameNumber, frame->streamType, frame->pixelType, frame->width, frame->height,
                 frame->dataSize, frame->bufferCapacity(), frame->frameStamp, UINT32_MAX, 0};
  bool wide = frame->pixelType == 1 || frame->pixelType == 3;
  uint32_t samples = wide ? frame->dataSize / 2 : frame->dataSize;
  for (uint32_t i = 0; i < samples; ++i) {
    uint32_t v = wide ? static_cast<const uint16_t*>(frame->data)[i] : static_cast<const uint8_t*>(frame->data)[i];
    if (v < info.minSample) info.minSample = v;
    if (v > info.maxSample) info.maxSample = v;
  }
  std::lock_guard<std::mutex> lock(self->m_lock);
  self->m_frames.push_back(info);
  self->m_changed.notify_all();
}

bool FrameSink::waitFor(size_t count, std::chrono::seconds limit) {
  std::unique_lock<std::mutex> lock(m_lock);
  return m_changed.wait_for(lock, limit, [&] { return m_frames.size() >= count; });
}

std::vector<FrameInfo> FrameSink::frames() {
  std::lock_guard<std::mutex> lock(m_lock);
  return m_frames;
}

size_t FrameSink::count() {
  std::lock_guard<std::mutex> lock(m_lock);
  return m_frames.size();
}

sarvik::StreamInterfaceBase* startStream(sarvik::DeviceInterfaceBase* device, uint32_t sensorType,
                                         FakeAllocator& pool, FrameSink& sink) {
  sarvik::StreamInterfaceBase* stream = nullptr;
  device->createStream(sensorType, &stream);
  if (stream == nullptr) return nullptr;
  stream->setNewFrameCallback(&FrameSink::onFrame, &sink);
  pool.setBufferSize(stream->getFrameBufferSize());
  stream->setFrameAllocator(&pool);
  return stream->start() == 0 ? stream : nullptr;
}

void EventLog::onState(const char* uri, const char* sn, const char* location, uint32_t state, void* user) {
  EventLog* self = static_cast<EventLog*>(user);
  StateEvent event{uri, sn, location, state, std::this_thread::get_id(), UINT32_MAX};
  // The host enumerates from inside the callback; so does this test.
  if (sarvik::DriverInterfaceBase* driver = self->m_driver) {
    typedefSarvikDeviceInfo records[60];
    uint32_t count = 60;
    if (driver->getDeviceList(records, &count) == 0) event.listedInside = count;
  }
  std::lock_guard<std::mutex> lock(self->m_lock);
  self->m_events.push_back(event);
  self->m_changed.notify_all();
}

bool EventLog::waitFor(size_t count, std::chrono::seconds limit) {
  std::unique_lock<std::mutex> lock(m_lock);
  return m_changed.wait_for(lock, limit, [&] { return m_events.size() >= count; });
}

std::vector<StateEvent> EventLog::events() {
  std::lock_guard<std::mutex> lock(m_lock);
  return m_events;
}

}  // namespace simcamtest
