#include "sim_stream.h"

#include <time.h>

#include <chrono>
#include <system_error>

#include "sim_device.h"
#include "sim_scene.h"

namespace simcam {

namespace {

uint64_t monotonicMicros() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

// After a lost image in flat-out mode: long enough not to spin on an empty
// pool, short enough to stay "as fast as possible".
constexpr std::chrono::milliseconds kFlatOutBackoff(1);

}  // namespace

SimStream::SimStream(SimDevice* device, uint32_t sensorType, bool flatOut, bool renderPixels)
    : m_device(device), m_sensorType(sensorType), m_flatOut(flatOut), m_renderPixels(renderPixels) {}

SimStream::~SimStream() { stop(); }

uint32_t SimStream::getFrameBufferSize() {
  SimFrameMode mode;
  return m_device->currentMode(m_sensorType, &mode) ? mode.frameBytes : 0;
}

int32_t SimStream::setFrameAllocator(sarvik::FrameAllocatorInterfaceBase* allocator) {
  std::lock_guard<std::mutex> control(m_controlLock);
  m_allocator = allocator;
  return kSimOk;
}

int32_t SimStream::setNewFrameCallback(NewFrameCallback callback, void* user) {
  std::lock_guard<std::mutex> control(m_controlLock);
  m_callback = callback;
  m_user = user;
  return kSimOk;
}

int32_t SimStream::start() {
  std::lock_guard<std::mutex> control(m_controlLock);
  if (m_thread.joinable()) {
    {
      std::lock_guard<std::mutex> wait(m_waitLock);
      if (!m_stopRequested) return kSimOk;  // already delivering
    }
    if (m_thread.get_id() == std::this_thread::get_id()) return kSimErrState;
    m_thread.join();  // left over from a stop made on the delivery thread
  }
  if (m_allocator == nullptr || m_callback == nullptr) return kSimErrState;
  if (!m_device->connected()) return kSimErrDisconnected;
  Delivery delivery{m_allocator, m_callback, m_user, SimFrameMode()};
  if (!m_device->currentMode(m_sensorType, &delivery.mode)) return kSimErrNotFound;
  {
    std::lock_guard<std::mutex> wait(m_waitLock);
    m_stopRequested = false;
  }
  m_running = true;
  try {
    m_thread = std::thread(&SimStream::run, this, delivery);
  } catch (const std::system_error&) {
    m_running = false;
    return kSimErrState;
  }
  return kSimOk;
}

int32_t SimStream::stop() {
  std::lock_guard<std::mutex> control(m_controlLock);
  {
    std::lock_guard<std::mutex> wait(m_waitLock);
    m_stopRequested = true;
  }
  m_wake.notify_all();
  // A stop from inside our own callback cannot join itself; the next start
  // or the destructor, on another thread, collects the thread.
  if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id()) m_thread.join();
  return kSimOk;
}

void SimStream::onUnplugged() {
  // Taking the lock orders the flag the device has set before the thread's
  // next look at it, so the wake-up is never lost.
  { std::lock_guard<std::mutex> wait(m_waitLock); }
  m_wake.notify_all();
}

bool SimStream::stopRequestedOrGone() const { return m_stopRequested || !m_device->connected(); }

void SimStream::run(Delivery delivery) {
  using Clock = std::chrono::steady_clock;
  int fps = simModeFps(delivery.mode.mode);
  const bool flatOut = m_flatOut || fps <= 0;
  const Clock::duration period =
      flatOut ? Clock::duration::zero()
              : std::chrono::duration_cast<Clock::duration>(std::chrono::nanoseconds(1000000000LL / fps));
  // Deadlines are counted from one base, not from the last wake-up, so
  // scheduling delays do not add up to a drift in the rate.
  Clock::time_point base = Clock::now();
  int64_t ticks = 0;
  std::unique_lock<std::mutex> lock(m_waitLock);
  for (;;) {
    if (!flatOut) m_wake.wait_until(lock, base + period * ticks, [this] { return stopRequestedOrGone(); });
    if (m_stopRequested) break;
    if (!m_device->connected()) {
      m_wake.wait(lock, [this] { return m_stopRequested; });
      break;
    }
    lock.unlock();
    bool delivered = produceOne(delivery);
    ++ticks;
    Clock::time_point now = Clock::now();
    // More than a frame late (a stalled host, a debugger): a camera would
    // have lost those images, not sent them in a burst.
    if (!flatOut && now > base + period * (ticks + 1)) {
      base = now;
      ticks = 1;
    }
    lock.lock();
    if (flatOut && !delivered) m_wake.wait_for(lock, kFlatOutBackoff, [this] { return stopRequestedOrGone(); });
  }
  m_running = false;
}

bool SimStream::produceOne(const Delivery& delivery) {
  const SimFrameMode& mode = delivery.mode;
  // Every image gets its number, delivered or not, so gaps show the losses.
  uint32_t number = m_nextNumber.fetch_add(1, std::memory_order_relaxed);
  ++m_produced;
  sarvik::FrameRefPtr frame = delivery.allocator->allocate();
  if (!frame || frame->data == nullptr || frame->bufferCapacity() < mode.frameBytes) {
    ++m_dropped;
    return false;
  }
  uint64_t stamp = monotonicMicros();
  typedefSarvikFrame& record = *frame;
  record.pixelType = simModeFormat(mode.mode);
  record.streamType = m_sensorType;
  record.frameNumber = number;
  record.frameStamp = stamp;
  record.reserved20 = 0;  // unused by this camera; the counter is the word at offset 8
  record.width = simModeWidth(mode.mode);
  record.height = simModeHeight(mode.mode);
  record.dataSize = mode.frameBytes;
  if (m_renderPixels) SimScene(static_cast<double>(stamp) / 1e6).render(mode, record.data);
  delivery.callback(frame.get(), delivery.user);
  ++m_delivered;
  // Our reference goes when `frame` ends, after the host has taken its own.
  return true;
}

void SimStream::fillStatus(SimSensorStatus* status) const {
  status->sensorType = m_sensorType;
  status->running = m_running ? 1 : 0;
  SimFrameMode mode;
  status->modeIndex = m_device->currentMode(m_sensorType, &mode) ? mode.modeIndex : 0;
  status->reserved = 0;
  status->produced = m_produced;
  status->delivered = m_delivered;
  status->dropped = m_dropped;
}

}  // namespace simcam
