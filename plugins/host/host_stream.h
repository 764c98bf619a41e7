// One sensor of one open device, as the module sees it, and the sink its back
// end fills. The host keeps the promise that no frame reaches the module
// after stop has returned; the back end only keeps its own (no sink call
// after stopSensor returns).
#ifndef SARVIK_HOST_STREAM_H
#define SARVIK_HOST_STREAM_H

#include <atomic>
#include <cstdint>
#include <mutex>

#include "host_backend.h"

namespace sarvikhost {

class HostDevice;

class HostStream final : public sarvik::StreamInterfaceBase, public FrameSink {
 public:
  // device outlives the stream: the device deletes its streams before itself.
  HostStream(HostDevice* device, uint32_t sensorType);
  ~HostStream();  // stops the sensor
  HostStream(const HostStream&) = delete;
  HostStream& operator=(const HostStream&) = delete;

  uint32_t getFrameBufferSize() override;
  int32_t setFrameAllocator(sarvik::FrameAllocatorInterfaceBase* allocator) override;
  int32_t setNewFrameCallback(NewFrameCallback callback, void* user) override;
  // Takes the device's current mode; a mode set while running applies at the
  // next start, so a frame never outgrows the pool sized for it.
  int32_t start() override;
  // From inside a frame callback (of any stream) it only closes the sink; the
  // back end's sensor is stopped by the next start or by destruction, on
  // another thread, because the back end may join the very thread we are on.
  int32_t stop() override;

  sarvik::FrameRefPtr acquire(uint32_t bytes) override;
  void deliver(sarvik::FrameRefPtr frame) override;
  void lost() override;

  uint32_t sensorType() const { return m_sensorType; }
  void fillStatus(SarvikSensorStatus* status) const;

 private:
  void stopBackend();  // REQUIRES: m_controlLock held

  HostDevice* const m_device;
  const uint32_t m_sensorType;

  // Serialises start, stop and the setters.
  std::mutex m_controlLock;
  sarvik::FrameAllocatorInterfaceBase* m_allocator = nullptr;  // guarded by m_controlLock
  NewFrameCallback m_callback = nullptr;                       // guarded by m_controlLock
  void* m_user = nullptr;                                      // guarded by m_controlLock
  bool m_backendRunning = false;                               // guarded by m_controlLock

  // Read by the back end's thread; written only while the back end is
  // stopped, before startSensor, which orders them for that thread.
  sarvik::FrameAllocatorInterfaceBase* m_sinkAllocator = nullptr;
  NewFrameCallback m_sinkCallback = nullptr;
  void* m_sinkUser = nullptr;

  std::atomic<bool> m_open{false};  // the sink takes frames
  std::atomic<uint32_t> m_nextNumber{0};  // frameNumber; per stream object, never reset
  std::atomic<uint64_t> m_produced{0};
  std::atomic<uint64_t> m_delivered{0};
  std::atomic<uint64_t> m_dropped{0};
};

}  // namespace sarvikhost

#endif  // SARVIK_HOST_STREAM_H
