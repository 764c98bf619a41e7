// Drives the simulated camera plug-in the way the host does: a copy of the
// built library in a folder of the test's own (so that the test chooses its
// configuration and control file), a fake frame pool and recording callbacks.
#ifndef SIMCAM_TEST_HARNESS_H
#define SIMCAM_TEST_HARNESS_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "sarvik/SarvikDriver.h"

namespace simcamtest {

constexpr std::chrono::seconds kPatience(10);

class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::string& path() const { return m_path; }
  std::string file(const std::string& name) const { return m_path + "/" + name; }
  void write(const std::string& name, const std::string& text) const;
  void append(const std::string& name, const std::string& text) const;

 private:
  std::string m_path;
};

// One loaded copy of a plug-in and its exports.
class Plugin {
 public:
  // Copies SARVIK_BUILD_LIB_DIR/<fileName> into dir and loads the copy.
  Plugin(const TempDir& dir, const char* fileName = "libSarvikUvcDriver.so");
  ~Plugin();

  DriverInstanceFn instance = nullptr;
  DriverDestroyFn destroy = nullptr;
  int32_t (*unplug)(const char*) = nullptr;
  int32_t (*plug)(const char*) = nullptr;

 private:
  void* m_handle = nullptr;
};

// A plug-in object, set up like the host does and destroyed at the end.
class Driver {
 public:
  explicit Driver(Plugin& plugin, DriverStateCallback callback = nullptr, void* user = nullptr);
  ~Driver();
  sarvik::DriverInterfaceBase* operator->() const { return m_driver; }
  sarvik::DriverInterfaceBase* get() const { return m_driver; }
  // Ends the object now, as driverDestroy of the host's shutdown.
  void destroy();
  sarvik::DeviceInterfaceBase* open(const char* uri);
  uint32_t listedCount();

 private:
  Plugin& m_plugin;
  sarvik::DriverInterfaceBase* m_driver;
};

// A frame pool that makes a new frame for each call. It can refuse every
// n-th call and count calls that come after a point the test marks.
class FakeAllocator final : public sarvik::FrameAllocatorInterfaceBase {
 public:
  sarvik::FrameRefPtr allocate() override;
  uint32_t getBufferSize() override { return m_capacity; }
  void setBufferSize(uint32_t size) override { m_capacity = size; }

  std::atomic<uint32_t> m_capacity{0};
  std::atomic<uint64_t> m_failEvery{0};
  std::atomic<uint64_t> m_calls{0};
  std::atomic<bool> m_closed{false};
  std::atomic<uint64_t> m_callsAfterClose{0};
  std::atomic<int> m_live{0};
};

struct FrameInfo {
  uint32_t number;
  uint32_t streamType;
  uint32_t pixelType;
  uint32_t width;
  uint32_t height;
  uint32_t dataSize;
  uint32_t capacity;
  uint64_t stamp;
  uint32_t minSample;  // over all samples: 16-bit for depth and y16, bytes otherwise
  uint32_t maxSample;
};

class FrameSink {
 public:
  static void onFrame(sarvik::SarvikFrameRef* frame, void* user);
  bool waitFor(size_t count, std::chrono::seconds limit = kPatience);
  std::vector<FrameInfo> frames();
  size_t count();
  // Deliveries after close are faults; late() counts them until reopen.
  void close() {
    m_late = 0;
    m_closed = true;
  }
  void reopen() { m_closed = false; }
  uint64_t late() const { return m_late; }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<FrameInfo> m_frames;
  std::atomic<bool> m_closed{false};
  std::atomic<uint64_t> m_late{0};
};

// createStream and the start sequence of the host, in its order.
sarvik::StreamInterfaceBase* startStream(sarvik::DeviceInterfaceBase* device, uint32_t sensorType,
                                         FakeAllocator& pool, FrameSink& sink);

// One USB camera opened in a plug-in loaded with the given configuration;
// the pool and sink outlive the driver, as the host's do.
struct Camera {
  explicit Camera(const char* conf, DriverStateCallback callback = nullptr, void* user = nullptr)
      : plugin((dir.write("simcam.conf", conf), dir)), driver(plugin, callback, user) {}
  std::tuple<FakeAllocator&, FrameSink&, Driver&, sarvik::DeviceInterfaceBase*&> parts() {
    return {pool, sink, driver, device};
  }
  TempDir dir;
  FakeAllocator pool;
  FrameSink sink;
  Plugin plugin;
  Driver driver;
  sarvik::DeviceInterfaceBase* device = driver.open("usb://sim/0");
};

struct StateEvent {
  std::string uri;
  std::string serial;
  std::string location;
  uint32_t state;
  std::thread::id thread;
  uint32_t listedInside;  // what getDeviceList said from inside the callback
};

class EventLog {
 public:
  static void onState(const char* uri, const char* sn, const char* location, uint32_t state, void* user);
  bool waitFor(size_t count, std::chrono::seconds limit = kPatience);
  std::vector<StateEvent> events();

  std::atomic<sarvik::DriverInterfaceBase*> m_driver{nullptr};

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<StateEvent> m_events;
};

}  // namespace simcamtest

#endif  // SIMCAM_TEST_HARNESS_H
