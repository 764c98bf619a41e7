#include "sim_sensor.h"

#include <time.h>

#include <chrono>
#include <system_error>

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

SimSensor::SimSensor(uint32_t sensorType, const SimFrameMode& mode, sarvikhost::FrameSink* sink,
                     const std::atomic<bool>* connected, bool flatOut, bool renderPixels)
    : m_sensorType(sensorType),
      m_mode(mode),
      m_sink(sink),
      m_connected(connected),
      m_flatOut(flatOut),
      m_renderPixels(renderPixels) {}

SimSensor::~SimSensor() {
  {
    std::lock_guard<std::mutex> wait(m_waitLock);
    m_stopRequested = true;
  }
  m_wake.notify_all();
  if (m_thread.joinable()) m_thread.join();
}

bool SimSensor::start() {
  try {
    m_thread = std::thread(&SimSensor::run, this);
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void SimSensor::wake() {
  // Taking the lock orders the flag the camera has set before the thread's
  // next look at it, so the wake-up is never lost.
  { std::lock_guard<std::mutex> wait(m_waitLock); }
  m_wake.notify_all();
}

void SimSensor::run() {
  using Clock = std::chrono::steady_clock;
  int fps = simModeFps(m_mode.mode);
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
    if (!*m_connected) {
      m_wake.wait(lock, [this] { return m_stopRequested; });
      break;
    }
    lock.unlock();
    bool delivered = false;
    if (sarvik::FrameRefPtr frame = m_sink->acquire(m_mode.frameBytes)) {
      uint64_t stamp = monotonicMicros();
      typedefSarvikFrame& record = *frame;
      record.pixelType = simModeFormat(m_mode.mode);
      record.frameStamp = stamp;
      record.width = simModeWidth(m_mode.mode);
      record.height = simModeHeight(m_mode.mode);
      record.dataSize = m_mode.frameBytes;
      if (m_renderPixels) SimScene(static_cast<double>(stamp) / 1e6).render(m_mode, record.data);
      m_sink->deliver(std::move(frame));
      delivered = true;
    }
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
}

}  // namespace simcam
