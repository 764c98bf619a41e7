#include "host_stream.h"

#include "host_device.h"

namespace sarvikhost {

namespace {

// How many frame callbacks of this plug-in the current thread is inside.
thread_local int t_inCallback = 0;

}  // namespace

HostStream::HostStream(HostDevice* device, uint32_t sensorType) : m_device(device), m_sensorType(sensorType) {}

HostStream::~HostStream() {
  std::lock_guard<std::mutex> control(m_controlLock);
  stopBackend();
  m_open = false;
}

uint32_t HostStream::getFrameBufferSize() {
  SarvikModeRecord mode;
  return m_device->currentMode(m_sensorType, &mode) ? mode.frameBytes : 0;
}

int32_t HostStream::setFrameAllocator(sarvik::FrameAllocatorInterfaceBase* allocator) {
  std::lock_guard<std::mutex> control(m_controlLock);
  m_allocator = allocator;
  return 0;
}

int32_t HostStream::setNewFrameCallback(NewFrameCallback callback, void* user) {
  std::lock_guard<std::mutex> control(m_controlLock);
  m_callback = callback;
  m_user = user;
  return 0;
}

void HostStream::stopBackend() {
  if (!m_backendRunning) return;
  m_device->camera().stopSensor(m_sensorType);
  m_backendRunning = false;
}

int32_t HostStream::start() {
  std::lock_guard<std::mutex> control(m_controlLock);
  if (m_open) return 0;  // already delivering
  if (t_inCallback > 0 && m_backendRunning) return kSarvikErrState;  // cannot stop it from here
  stopBackend();  // left over from a stop made inside a callback
  if (m_allocator == nullptr || m_callback == nullptr) return kSarvikErrState;
  if (m_device->camera().connectionState() != 0) return kSarvikErrDisconnected;
  SarvikModeRecord mode;
  if (!m_device->currentMode(m_sensorType, &mode)) return kSarvikErrNotFound;
  m_sinkAllocator = m_allocator;
  m_sinkCallback = m_callback;
  m_sinkUser = m_user;
  m_open = true;
  int32_t status = m_device->camera().startSensor(m_sensorType, mode, this);
  if (status != 0) {
    m_open = false;
    return status;
  }
  m_backendRunning = true;
  return 0;
}

int32_t HostStream::stop() {
  std::lock_guard<std::mutex> control(m_controlLock);
  // A frame already taken still goes out while the back end winds down, so
  // that numbers stay without gaps; stopBackend's return is the end.
  if (t_inCallback == 0) stopBackend();
  m_open = false;
  return 0;
}

sarvik::FrameRefPtr HostStream::acquire(uint32_t bytes) {
  if (!m_open.load(std::memory_order_acquire)) return sarvik::FrameRefPtr();
  uint32_t number = m_nextNumber.fetch_add(1, std::memory_order_relaxed);
  m_produced.fetch_add(1, std::memory_order_relaxed);
  sarvik::FrameRefPtr frame = m_sinkAllocator->allocate();
  if (!frame || frame->data == nullptr || frame->bufferCapacity() < bytes) {
    m_dropped.fetch_add(1, std::memory_order_relaxed);
    return sarvik::FrameRefPtr();
  }
  typedefSarvikFrame& record = *frame;
  record.streamType = m_sensorType;
  record.frameNumber = number;
  record.reserved20 = 0;  // unused by the SDK's cameras
  return frame;
}

void HostStream::deliver(sarvik::FrameRefPtr frame) {
  if (!frame || !m_open.load(std::memory_order_acquire)) return;
  ++t_inCallback;
  m_sinkCallback(frame.get(), m_sinkUser);
  --t_inCallback;
  m_delivered.fetch_add(1, std::memory_order_relaxed);
}

void HostStream::lost() {
  m_nextNumber.fetch_add(1, std::memory_order_relaxed);
  m_produced.fetch_add(1, std::memory_order_relaxed);
  m_dropped.fetch_add(1, std::memory_order_relaxed);
}

void HostStream::fillStatus(SarvikSensorStatus* status) const {
  status->sensorType = m_sensorType;
  status->running = m_open ? 1 : 0;
  SarvikModeRecord mode;
  status->modeIndex = m_device->currentMode(m_sensorType, &mode) ? mode.modeIndex : 0;
  status->reserved = 0;
  status->produced = m_produced;
  status->delivered = m_delivered;
  status->dropped = m_dropped;
}

}  // namespace sarvikhost
