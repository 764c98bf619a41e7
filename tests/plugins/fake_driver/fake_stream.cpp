#include "fake_stream.h"

#include <algorithm>
#include <cstring>

#include "fake_control.h"

namespace sarvik_test {

FakeStream::FakeStream(uint32_t sensorType) : m_sensorType(sensorType) {}

FakeStream::~FakeStream() {
  stopFlatOut();
  FakeControl::instance().streamStopped(this);
}

uint32_t FakeStream::getFrameBufferSize() {
  FakeControl::instance().log(formatText("getFrameBufferSize(%u)", m_sensorType));
  return FakeControl::instance().frameBufferSize();
}

int32_t FakeStream::setFrameAllocator(sarvik::FrameAllocatorInterfaceBase* allocator) {
  FakeControl::instance().log(formatText("setFrameAllocator(%u)", m_sensorType));
  std::lock_guard<std::mutex> guard(m_mutex);
  m_allocator = allocator;
  return 0;
}

int32_t FakeStream::setNewFrameCallback(NewFrameCallback callback, void* user) {
  FakeControl::instance().log(formatText("setNewFrameCallback(%u)", m_sensorType));
  std::lock_guard<std::mutex> guard(m_mutex);
  m_callback = callback;
  m_user = user;
  return 0;
}

int32_t FakeStream::start() {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("start(%u)", m_sensorType));
  control.pausePoint(FakeOp::kStreamStart);
  const int32_t status = control.result(FakeOp::kStreamStart);
  if (status != 0) return status;
  m_started = true;
  control.streamStarted(this);
  if (control.flatOut() && !m_flatOutRunning.exchange(true)) {
    m_flatOutThread = std::thread([this] {
      while (m_flatOutRunning.load()) {
        if (deliverOnce() != 0) std::this_thread::yield();
      }
    });
  }
  return 0;
}

int32_t FakeStream::stop() {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("stop(%u)", m_sensorType));
  m_started = false;
  // The host calls this under its sensor lock; the delivery thread needs only
  // the host's signal and queue locks, so joining it here cannot deadlock.
  stopFlatOut();
  control.streamStopped(this);
  return 0;
}

void FakeStream::stopFlatOut() {
  if (m_flatOutRunning.exchange(false) && m_flatOutThread.joinable()) m_flatOutThread.join();
}

int32_t FakeStream::deliverOnce() {
  sarvik::FrameAllocatorInterfaceBase* allocator = nullptr;
  NewFrameCallback callback = nullptr;
  void* user = nullptr;
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    allocator = m_allocator;
    callback = m_callback;
    user = m_user;
  }
  if (allocator == nullptr || callback == nullptr) return -1;
  sarvik::FrameRefPtr frame = allocator->allocate();
  if (!frame) return -2;

  uint32_t width = 0, height = 0;
  FakeControl::instance().frameGeometry(&width, &height);
  const uint32_t number = ++m_frameNumber;
  frame->pixelType = 0;
  frame->streamType = m_sensorType;
  frame->frameNumber = number;
  frame->frameStamp = 1000ull * number;
  frame->width = width;
  frame->height = height;
  const uint32_t size = std::min(FakeControl::instance().frameBufferSize(), frame->bufferCapacity());
  frame->dataSize = frame->data != nullptr ? size : 0;
  if (frame->data != nullptr) std::memset(frame->data, static_cast<int>(number & 0xFF), frame->dataSize);
  switch (FakeControl::instance().frameFault()) {
    case FrameFault::kNullFrame:
      callback(nullptr, user);
      break;
    case FrameFault::kOversized:
      frame->dataSize = frame->bufferCapacity() + 4096;
      callback(frame.get(), user);
      break;
    case FrameFault::kNone:
      callback(frame.get(), user);
      break;
  }
  FakeControl::instance().countFrame();
  return 0;  // our reference ends with `frame`
}

}  // namespace sarvik_test
