// A minimal transport plug-in for the pipeline benchmarks: one camera, frames
// delivered on request from a benchmark thread (stamped with the monotonic
// clock in nanoseconds) or flat out from a thread of its own. It touches no
// pixel, so that what is measured is the pipeline alone.
#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/bench_driver.h"

namespace {

using namespace sarvik;

uint64_t nowNs() {
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
          .count());
}

typedefSarvikFrameMode g_mode = {640, {0, 0}, 480, 0, 30};

class BenchStream;
std::mutex g_streamsMutex;
std::vector<BenchStream*> g_started;
std::atomic<bool> g_flatOut{false};
std::atomic<uint32_t> g_frameBytes{64};
std::atomic<uint32_t> g_colourFrameBytes{64};
std::atomic<uint64_t> g_delivered{0};
std::atomic<uint32_t> g_rate{0};  // frames per second of a flat-out stream; 0: no pause at all

class BenchStream final : public StreamInterfaceBase {
 public:
  explicit BenchStream(uint32_t type) : m_type(type) {}
  uint32_t getFrameBufferSize() override {
    return m_type == SARVIK_STREAM_COLOR ? g_colourFrameBytes.load() : g_frameBytes.load();
  }
  int32_t setFrameAllocator(FrameAllocatorInterfaceBase* allocator) override {
    m_allocator = allocator;
    return 0;
  }
  int32_t setNewFrameCallback(NewFrameCallback callback, void* user) override {
    m_callback = callback;
    m_user = user;
    return 0;
  }
  int32_t start() override {
    {
      std::lock_guard<std::mutex> guard(g_streamsMutex);
      g_started.push_back(this);
    }
    if (g_flatOut.load()) {
      m_running = true;
      m_thread = std::thread([this] {
        auto next = std::chrono::steady_clock::now();
        while (m_running.load()) {
          deliver();
          if (const uint32_t rate = g_rate.load()) {
            next += std::chrono::nanoseconds(1000000000ull / rate);
            std::this_thread::sleep_until(next);
          }
        }
      });
    }
    return 0;
  }
  int32_t stop() override {
    m_running = false;
    if (m_thread.joinable()) m_thread.join();
    std::lock_guard<std::mutex> guard(g_streamsMutex);
    for (size_t i = 0; i < g_started.size(); ++i) {
      if (g_started[i] == this) {
        g_started.erase(g_started.begin() + static_cast<long>(i));
        break;
      }
    }
    return 0;
  }
  // 0 delivered, -2 the pool had no frame.
  int32_t deliver() {
    FrameRefPtr frame = m_allocator->allocate();
    if (!frame) return -2;
    frame->streamType = m_type;
    frame->frameNumber = m_number++;
    frame->width = 640;
    frame->height = 480;
    frame->dataSize = frame->bufferCapacity();
    frame->frameStamp = nowNs();
    m_callback(frame.get(), m_user);
    g_delivered.fetch_add(1, std::memory_order_relaxed);
    return 0;
  }

 private:
  uint32_t m_type;
  FrameAllocatorInterfaceBase* m_allocator = nullptr;
  NewFrameCallback m_callback = nullptr;
  void* m_user = nullptr;
  uint32_t m_number = 0;
  std::atomic<bool> m_running{false};
  std::thread m_thread;
};

class BenchDevice final : public DeviceInterfaceBase {
 public:
  ~BenchDevice() {
    for (BenchStream* stream : m_streams) delete stream;
  }
  int32_t createStream(uint32_t sensorType, StreamInterfaceBase** stream) override {
    m_streams.push_back(new BenchStream(sensorType));
    *stream = m_streams.back();
    return 0;
  }
  int32_t destroyStream(StreamInterfaceBase**) override { return 0; }
  int32_t setProperty(uint32_t, void*, uint32_t) override { return 0; }
  int32_t getProperty(uint32_t, void*, uint32_t*) override { return 0; }
  int32_t sendCommand(void*, uint32_t, uint64_t, uint64_t) override { return 0; }
  uint32_t getConnectionState() override { return 0; }
  bool isStreamReady() override { return true; }
  int32_t depthToPointCloud(const uint16_t*, uint32_t, uint32_t, float, float, float, float, float,
                            typedefSarvikPoint3D*, uint32_t, bool) override {
    return 0;
  }
  int32_t getFrameModeList(uint32_t, uint64_t, uint64_t) override { return 0; }
  int32_t setFrameMode(uint32_t, const typedefSarvikFrameMode*, bool) override { return 0; }
  const typedefSarvikFrameMode* getCurrentFrameMode(uint32_t) override { return &g_mode; }
  const char* getDeviceId() override { return "bench://0"; }
  uint32_t getDeviceFlags() override { return 0; }
  int32_t queryData(void*) override { return 0; }
  DeviceTaskBase* createTask() override { return nullptr; }

 private:
  std::vector<BenchStream*> m_streams;
};

class BenchDriver final : public DriverInterfaceBase {
 public:
  int32_t initialize() override { return 0; }
  int32_t setDeviceStateCallback(DriverStateCallback, void*) override { return 0; }
  int32_t getDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) override {
    if (*count == 0) return 0;
    std::memset(records, 0, sizeof(*records));
    records->ConnectionType = SARVIK_CONNECTION_USB;
    std::strcpy(records->uri, "bench://0");
    *count = 1;
    return 0;
  }
  int32_t getVideoNodeList(typedefSarvikVideoNodeInfo*, uint32_t* count) override {
    *count = 0;
    return 0;
  }
  int32_t openDevice(const char*, DeviceInterfaceBase** device) override {
    *device = new BenchDevice();
    return 0;
  }
  int32_t openDeviceByFd(uint32_t, uint32_t, uint32_t, const char*, DeviceInterfaceBase**) override { return -1; }
  int32_t closeDevice(DeviceInterfaceBase** device) override {
    delete static_cast<BenchDevice*>(*device);
    *device = nullptr;
    return 0;
  }
  int32_t setTaskMode(bool) override { return 0; }
  int32_t setFlag(uint8_t) override { return 0; }
  int32_t setText(std::string) override { return 0; }
};

BenchDriver g_driver;

}  // namespace

extern "C" {

__attribute__((visibility("default"))) DriverInterfaceBase* driverInstance() { return &g_driver; }

__attribute__((visibility("default"))) int32_t benchDeliver() {
  std::lock_guard<std::mutex> guard(g_streamsMutex);
  if (g_started.empty()) return -1;
  return g_started.back()->deliver();
}

__attribute__((visibility("default"))) void benchSetFlatOut(bool on) { g_flatOut.store(on); }

__attribute__((visibility("default"))) void benchSetFrameBytes(uint32_t bytes) { g_frameBytes.store(bytes); }

__attribute__((visibility("default"))) void benchSetColourFrameBytes(uint32_t bytes) { g_colourFrameBytes.store(bytes); }

__attribute__((visibility("default"))) void benchSetRate(uint32_t framesPerSecond) { g_rate.store(framesPerSecond); }

__attribute__((visibility("default"))) uint64_t benchDelivered() { return g_delivered.load(); }

}  // extern "C"
