// An in-process plug-in for the pipeline tests: a driver, a device and one
// stream object per sensor type, each recording the host's calls in order.
//
// Frames are delivered either by the test itself (deliver(), on the calling
// thread) or by a delivery thread of the stream object that runs from its
// start() to its stop(), as a camera's would.
#ifndef SARVIK_TESTS_PIPELINE_FAKE_CAMERA_H
#define SARVIK_TESTS_PIPELINE_FAKE_CAMERA_H

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sarvik/SarvikDriver.h"

namespace sarvik_test {

// The host's calls in order, shared by all objects of one camera.
class CallLog {
 public:
  void add(const std::string& call) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_calls.push_back(call);
  }
  std::vector<std::string> calls() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_calls;
  }
  size_t count(const std::string& call) const {
    std::lock_guard<std::mutex> guard(m_lock);
    return static_cast<size_t>(std::count(m_calls.begin(), m_calls.end(), call));
  }
  void clear() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_calls.clear();
  }

 private:
  mutable std::mutex m_lock;
  std::vector<std::string> m_calls;
};

class FakeStream final : public sarvik::StreamInterfaceBase {
 public:
  FakeStream(uint32_t type, CallLog* log) : m_type(type), m_log(log) {}
  ~FakeStream() { stopThread(); }

  uint32_t getFrameBufferSize() override {
    m_log->add("getFrameBufferSize");
    return bufferSize.load();
  }
  int32_t setFrameAllocator(sarvik::FrameAllocatorInterfaceBase* allocator) override {
    m_log->add("setFrameAllocator");
    std::lock_guard<std::mutex> guard(m_lock);
    m_allocator = allocator;
    return 0;
  }
  int32_t setNewFrameCallback(NewFrameCallback callback, void* user) override {
    m_log->add("setNewFrameCallback");
    std::lock_guard<std::mutex> guard(m_lock);
    m_callback = callback;
    m_user = user;
    return 0;
  }
  int32_t start() override {
    m_log->add("start");
    if (startStatus.load() != 0) return startStatus.load();
    if (deliverOnThread.load()) {
      m_running.store(true);
      m_thread = std::thread([this] {
        while (m_running.load()) {
          deliver();
          std::this_thread::yield();
        }
      });
    }
    return 0;
  }
  // Joins the delivery thread, then, if asked to, delivers one late frame as
  // a camera may after its stop.
  int32_t stop() override {
    m_log->add("stop");
    stopThread();
    if (deliverAfterStop.load()) deliver();
    return 0;
  }

  // One frame from the pool to the host: false when the pool gave none. The
  // frame carries `stamp` in its record and in the first bytes of its buffer.
  bool deliver(uint64_t stamp = 0) {
    sarvik::FrameAllocatorInterfaceBase* allocator;
    NewFrameCallback callback;
    void* user;
    {
      std::lock_guard<std::mutex> guard(m_lock);
      allocator = m_allocator;
      callback = m_callback;
      user = m_user;
    }
    if (allocator == nullptr || callback == nullptr) return false;
    sarvik::FrameRefPtr frame = allocator->allocate();
    if (!frame) return false;
    if (stamp == 0) stamp = ++m_stamp;
    frame->streamType = m_type;
    frame->frameStamp = stamp;
    frame->width = 4;
    frame->height = 2;
    frame->dataSize = 0;
    if (frame->bufferCapacity() >= sizeof(stamp)) {
      std::memcpy(frame->data, &stamp, sizeof(stamp));
      frame->dataSize = sizeof(stamp);
    }
    callback(frame.get(), user);
    ++delivered;
    return true;  // our reference ends with the pointer
  }

  std::atomic<uint32_t> bufferSize{64};
  std::atomic<int32_t> startStatus{0};
  std::atomic<bool> deliverOnThread{false};
  std::atomic<bool> deliverAfterStop{false};
  std::atomic<uint64_t> delivered{0};

 private:
  void stopThread() {
    m_running.store(false);
    if (m_thread.joinable()) m_thread.join();
  }

  const uint32_t m_type;
  CallLog* m_log;
  std::mutex m_lock;
  sarvik::FrameAllocatorInterfaceBase* m_allocator = nullptr;
  NewFrameCallback m_callback = nullptr;
  void* m_user = nullptr;
  std::atomic<bool> m_running{false};
  std::thread m_thread;
  uint64_t m_stamp = 0;  // delivery is on one thread at a time
};

class FakeDevice final : public sarvik::DeviceInterfaceBase {
 public:
  explicit FakeDevice(CallLog* log) : m_log(log) {}

  int32_t createStream(uint32_t sensorType, sarvik::StreamInterfaceBase** stream) override {
    m_log->add("createStream(" + std::to_string(sensorType) + ")");
    if (failCreateStream.load()) return -1;
    std::lock_guard<std::mutex> guard(m_lock);
    std::unique_ptr<FakeStream>& slot = m_streams[sensorType];
    if (!slot) slot.reset(new FakeStream(sensorType, m_log));
    *stream = slot.get();
    return 0;
  }
  int32_t destroyStream(sarvik::StreamInterfaceBase**) override {
    m_log->add("destroyStream");
    return 0;
  }
  int32_t setProperty(uint32_t, void*, uint32_t) override { return 0; }
  int32_t getProperty(uint32_t, void*, uint32_t*) override { return 0; }
  int32_t sendCommand(void*, uint32_t, uint64_t, uint64_t) override { return 0; }
  uint32_t getConnectionState() override { return connectionState.load(); }
  bool isStreamReady() override { return true; }
  int32_t depthToPointCloud(const uint16_t*, uint32_t, uint32_t, float, float, float, float, float,
                            typedefSarvikPoint3D*, uint32_t, bool) override { return 0; }
  int32_t getFrameModeList(uint32_t, uint64_t, uint64_t) override { return 0; }
  int32_t setFrameMode(uint32_t sensorType, const typedefSarvikFrameMode* mode, bool restart) override {
    m_log->add("setFrameMode(" + std::to_string(sensorType) + ",restart=" + std::to_string(restart) +
               (mode == &m_mode ? ")" : ",foreign)"));
    return 0;
  }
  const typedefSarvikFrameMode* getCurrentFrameMode(uint32_t sensorType) override {
    m_log->add("getCurrentFrameMode(" + std::to_string(sensorType) + ")");
    return hasMode.load() ? &m_mode : nullptr;
  }
  const char* getDeviceId() override { return "id-from-plugin"; }
  uint32_t getDeviceFlags() override { return 7; }
  int32_t queryData(void*) override { return 0; }
  sarvik::DeviceTaskBase* createTask() override { return nullptr; }

  // The stream object of a type, once the host has asked for it.
  FakeStream* stream(uint32_t type) {
    std::lock_guard<std::mutex> guard(m_lock);
    auto found = m_streams.find(type);
    return found == m_streams.end() ? nullptr : found->second.get();
  }

  std::atomic<uint32_t> connectionState{0};
  std::atomic<bool> failCreateStream{false};
  std::atomic<bool> hasMode{true};

 private:
  CallLog* m_log;
  std::mutex m_lock;
  std::map<uint32_t, std::unique_ptr<FakeStream>> m_streams;
  typedefSarvikFrameMode m_mode{};
};

class FakeDriver final : public sarvik::DriverInterfaceBase {
 public:
  int32_t initialize() override { return 0; }
  int32_t setDeviceStateCallback(DriverStateCallback, void*) override { return 0; }
  int32_t getDeviceList(typedefSarvikDeviceInfo*, uint32_t* count) override { return *count = 0; }
  int32_t getVideoNodeList(typedefSarvikVideoNodeInfo*, uint32_t* count) override { return *count = 0; }
  int32_t openDevice(const char* uri, sarvik::DeviceInterfaceBase** device) override {
    return open(std::string("openDevice(") + uri + ")", device);
  }
  int32_t openDeviceByFd(uint32_t, uint32_t, uint32_t fd, const char*, sarvik::DeviceInterfaceBase** device) override {
    return open("openDeviceByFd(" + std::to_string(fd) + ")", device);
  }
  int32_t closeDevice(sarvik::DeviceInterfaceBase** device) override {
    log.add(*device == &m_device ? "closeDevice" : "closeDevice(foreign)");
    return 0;
  }
  int32_t setTaskMode(bool) override { return 0; }
  int32_t setFlag(uint8_t) override { return 0; }
  int32_t setText(std::string) override { return 0; }

  FakeDevice& device() { return m_device; }

  CallLog log;
  int32_t openStatus = 0;

 private:
  int32_t open(const std::string& call, sarvik::DeviceInterfaceBase** device) {
    log.add(call);
    if (openStatus == 0) *device = &m_device;
    return openStatus;
  }

  FakeDevice m_device{&log};
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_PIPELINE_FAKE_CAMERA_H
