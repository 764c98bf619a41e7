// The stream object of one sensor of a fake device. Frames come either one at
// a time from a test thread (FakeDriverControl::deliverFrame) or flat out from
// a thread of its own between start and stop.
#ifndef SARVIK_TESTS_FAKE_DRIVER_FAKE_STREAM_H
#define SARVIK_TESTS_FAKE_DRIVER_FAKE_STREAM_H

#include <atomic>
#include <mutex>
#include <thread>

#include "sarvik/SarvikDriver.h"

namespace sarvik_test {

class FakeStream final : public sarvik::StreamInterfaceBase {
 public:
  explicit FakeStream(uint32_t sensorType);
  // Stops delivery and waits for every delivery in progress.
  ~FakeStream();

  uint32_t getFrameBufferSize() override;
  int32_t setFrameAllocator(sarvik::FrameAllocatorInterfaceBase* allocator) override;
  int32_t setNewFrameCallback(NewFrameCallback callback, void* user) override;
  int32_t start() override;
  int32_t stop() override;

  uint32_t sensorType() const { return m_sensorType; }
  // One frame from the host's pool to the host's callback, on the calling
  // thread. 0 delivered, -2 the pool had none, -1 nothing to deliver to.
  int32_t deliverOnce();

 private:
  void stopFlatOut();

  const uint32_t m_sensorType;
  std::mutex m_mutex;  // guards the three host pointers
  sarvik::FrameAllocatorInterfaceBase* m_allocator = nullptr;
  NewFrameCallback m_callback = nullptr;
  void* m_user = nullptr;
  std::atomic<uint32_t> m_frameNumber{0};
  std::atomic<bool> m_started{false};
  std::atomic<bool> m_flatOutRunning{false};
  std::thread m_flatOutThread;
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_FAKE_DRIVER_FAKE_STREAM_H
