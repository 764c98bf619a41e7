// One sensor of one open simulated device. While started it owns a delivery
// thread that makes an image at every tick of the mode's frame rate, takes a
// frame for it from the host's pool and hands it to the host's callback.
#ifndef SIMCAM_SIM_STREAM_H
#define SIMCAM_SIM_STREAM_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "sarvik/SarvikDriver.h"
#include "sim_frame_mode.h"
#include "sim_protocol.h"

namespace simcam {

class SimDevice;

class SimStream final : public sarvik::StreamInterfaceBase {
 public:
  // device outlives the stream: the device deletes its streams before itself.
  SimStream(SimDevice* device, uint32_t sensorType, bool flatOut, bool renderPixels);
  ~SimStream();  // stops and joins the delivery thread
  SimStream(const SimStream&) = delete;
  SimStream& operator=(const SimStream&) = delete;

  uint32_t getFrameBufferSize() override;
  int32_t setFrameAllocator(sarvik::FrameAllocatorInterfaceBase* allocator) override;
  int32_t setNewFrameCallback(NewFrameCallback callback, void* user) override;
  // Takes the device's current mode; a mode set while running applies at the
  // next start, so a frame never outgrows the pool sized for it.
  int32_t start() override;
  // Returns once the delivery thread has ended, so no callback or allocate of
  // this stream runs afterwards. Safe on the delivery thread itself, which
  // then only asks the thread to end.
  int32_t stop() override;

  uint32_t sensorType() const { return m_sensorType; }
  // The device lost its camera: the thread stops making images for good.
  void onUnplugged();
  void fillStatus(SimSensorStatus* status) const;

 private:
  struct Delivery {
    sarvik::FrameAllocatorInterfaceBase* allocator;
    NewFrameCallback callback;
    void* user;
    SimFrameMode mode;
  };

  void run(Delivery delivery);
  bool produceOne(const Delivery& delivery);
  bool stopRequestedOrGone() const;

  SimDevice* const m_device;
  const uint32_t m_sensorType;
  const bool m_flatOut;
  const bool m_renderPixels;

  // Serialises start, stop and the setters; held across the join in stop.
  std::mutex m_controlLock;
  sarvik::FrameAllocatorInterfaceBase* m_allocator = nullptr;  // guarded by m_controlLock
  NewFrameCallback m_callback = nullptr;                       // guarded by m_controlLock
  void* m_user = nullptr;                                      // guarded by m_controlLock
  std::thread m_thread;                                        // guarded by m_controlLock

  // The delivery thread sleeps on m_wake between images; stop and unplug wake it.
  mutable std::mutex m_waitLock;
  std::condition_variable m_wake;
  bool m_stopRequested = false;  // guarded by m_waitLock

  std::atomic<bool> m_running{false};
  std::atomic<uint32_t> m_nextNumber{0};  // frameNumber; per stream object, never reset
  std::atomic<uint64_t> m_produced{0};
  std::atomic<uint64_t> m_delivered{0};
  std::atomic<uint64_t> m_dropped{0};
};

}  // namespace simcam

#endif  // SIMCAM_SIM_STREAM_H
