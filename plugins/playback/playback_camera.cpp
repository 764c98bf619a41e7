#include "playback_camera.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <system_error>

#include "playback_backend.h"
#include "playback_modes.h"

namespace playback {

namespace {

// Late by more than this (a stalled application, a debugger): the clock
// starts again at the entry due, instead of sending a burst to catch up.
constexpr std::chrono::milliseconds kMaxLateness(500);

bool readFully(int fd, void* to, size_t n, uint64_t offset) {
  size_t done = 0;
  while (done < n) {
    ssize_t r = ::pread(fd, static_cast<uint8_t*>(to) + done, n - done, static_cast<off_t>(offset + done));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    done += static_cast<size_t>(r);
  }
  return true;
}

template <typename T>
int32_t answer(T value, void* data, uint32_t* length) {
  if (*length > 0) std::memcpy(data, &value, std::min<uint32_t>(*length, sizeof value));
  *length = sizeof value;
  return 0;
}

template <typename T>
bool take(const void* data, uint32_t length, T* out) {
  if (data == nullptr || length != sizeof(T)) return false;
  std::memcpy(out, data, sizeof(T));
  return true;
}

void copyText(char* out, size_t room, const std::string& text) {
  std::memset(out, 0, room);
  std::memcpy(out, text.data(), std::min(text.size(), room - 1));
}

}  // namespace

PlaybackCamera::PlaybackCamera(PlaybackBackend* backend, const PlaybackSource& source, int fd, PlaybackIndex index)
    : m_backend(backend), m_source(source), m_fd(fd), m_index(std::move(index)) {
  inferModes(m_index, m_source.sidecar, m_modes);
  m_speed = m_source.defaults.speed;
  m_loop = m_source.defaults.loop;
  for (int slot = 0; slot < 4; ++slot) {
    m_current[slot] = m_modes[slot].empty() ? SarvikModeRecord{} : m_modes[slot][0];
  }
}

PlaybackCamera::~PlaybackCamera() {
  std::thread thread;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_stop = true;
    thread = std::move(m_thread);
  }
  m_wake.notify_all();
  if (thread.joinable()) thread.join();
  ::close(m_fd);
  m_backend->forget(this);
}

const std::vector<SarvikModeRecord>& PlaybackCamera::modes(uint32_t sensorType) {
  int slot = slotOf(sensorType);
  return slot < 0 ? m_none : m_modes[slot];
}

int32_t PlaybackCamera::startSensor(uint32_t sensorType, const SarvikModeRecord& mode, sarvikhost::FrameSink* sink) {
  int slot = slotOf(sensorType);
  if (slot < 0 || m_modes[slot].empty()) return kSarvikErrNotFound;
  if (!m_connected) return kSarvikErrDisconnected;
  std::lock_guard<std::mutex> lock(m_lock);
  m_sinks[slot] = sink;
  m_current[slot] = mode;
  m_rebase = true;
  if (!m_thread.joinable()) {
    try {
      m_thread = std::thread(&PlaybackCamera::run, this);
    } catch (const std::system_error&) {
      m_sinks[slot] = nullptr;
      return kSarvikErrState;
    }
  }
  m_wake.notify_all();
  return 0;
}

void PlaybackCamera::stopSensor(uint32_t sensorType) {
  int slot = slotOf(sensorType);
  if (slot < 0) return;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_sinks[slot] = nullptr;
  }
  // A delivery that took the sink before it was cleared ends first.
  std::lock_guard<std::mutex> wait(m_deliverLock);
}

void PlaybackCamera::markGone() {
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_connected = false;
  }
  m_wake.notify_all();
}

void PlaybackCamera::rebase() {
  m_baseTime = Clock::now();
  m_baseStamp = m_position < m_index.entries.size() ? m_index.entries[m_position].stamp : 0;
  m_rebase = false;
}

void PlaybackCamera::finish(const std::string& why) {
  m_connected = false;
  m_backend->ended(this, why);
}

void PlaybackCamera::run() {
  std::unique_lock<std::mutex> lock(m_lock);
  for (;;) {
    m_wake.wait(lock, [this] {
      bool anySink = m_sinks[0] || m_sinks[1] || m_sinks[2] || m_sinks[3];
      return m_stop || (m_connected && !m_paused && anySink);
    });
    if (m_stop) return;
    if (m_position >= m_index.entries.size()) {
      if (!m_index.tailProblem.empty() && !m_toldTail) {
        m_toldTail = true;
        m_backend->log(m_source.path + ": played its " + std::to_string(m_index.entries.size()) +
                       " whole entries (" + std::to_string(m_index.indexedBytes) + " bytes); the rest is damaged: " +
                       m_index.tailProblem);
      }
      if (m_loop && !m_index.entries.empty()) {
        m_position = 0;
        m_rebase = true;
        continue;
      }
      lock.unlock();
      finish("the end of the file");
      lock.lock();
      continue;  // waits, disconnected, for the camera to be closed
    }
    const IndexEntry& entry = m_index.entries[m_position];
    int slot = slotOf(entry.streamType);
    if (slot < 0 || m_sinks[slot] == nullptr || !entryIsMode(entry, m_current[slot])) {
      ++m_position;  // nobody takes it: passed over without waiting
      continue;
    }
    if (m_rebase) rebase();
    if (m_speed > 0.0f) {
      // Stamps that go back (streams interleaved slightly out of order) are due at once.
      double gap = entry.stamp > m_baseStamp ? static_cast<double>(entry.stamp - m_baseStamp) : 0.0;
      auto due = m_baseTime + std::chrono::duration_cast<Clock::duration>(
                                  std::chrono::duration<double, std::micro>(gap / m_speed));
      uint64_t position = m_position;
      if (m_wake.wait_until(lock, due, [&] { return m_stop || m_paused || m_rebase || m_position != position; })) {
        continue;  // something changed while waiting: look again
      }
      if (Clock::now() > due + kMaxLateness) m_rebase = true;
    }
    const uint64_t seeks = m_seeks;
    if (!play(entry, lock)) {
      lock.unlock();
      m_backend->log(m_source.path + ": entry " + std::to_string(m_position) +
                     " cannot be read, the file shrank or went away; playback ends");
      finish("the file shrank");
      lock.lock();
      continue;
    }
    // A seek made while the entry was on its way has set the next one already.
    if (m_seeks == seeks) ++m_position;
  }
}

bool PlaybackCamera::play(const IndexEntry& entry, std::unique_lock<std::mutex>& lock) {
  int slot = slotOf(entry.streamType);
  sarvikhost::FrameSink* sink = m_sinks[slot];
  // Taken before m_lock is let go: a stopSensor that clears the sink after
  // this point waits for the delivery to end.
  std::unique_lock<std::mutex> delivering(m_deliverLock);
  lock.unlock();
  bool readable = true;
  if (sarvik::FrameRefPtr frame = sink->acquire(entry.dataSize)) {
    // The one copy: from the file straight into the pool's buffer.
    if (readFully(m_fd, frame->data, entry.dataSize, entry.dataOffset)) {
      typedefSarvikFrame& record = *frame;
      record.pixelType = entry.streamType == SARVIK_STREAM_COLOR
                             ? SARVIK_PIXEL_RGB24
                             : (entry.streamType == SARVIK_STREAM_DEPTH
                                    ? SARVIK_PIXEL_DEPTH16
                                    : (entry.bytesPerPixel == 1 ? SARVIK_PIXEL_GRAY8 : SARVIK_PIXEL_GRAY16));
      record.frameStamp = entry.stamp;
      record.width = entry.width;
      record.height = entry.height;
      record.dataSize = entry.dataSize;
      sink->deliver(std::move(frame));
    } else {
      readable = false;
    }
  }
  delivering.unlock();
  lock.lock();
  return readable;
}

int32_t PlaybackCamera::getProperty(uint32_t id, void* data, uint32_t* length) {
  if (id < kSarvikPropertyPlaybackSpeed || id > kSarvikPropertyPlaybackLength) return kSarvikErrUnsupported;
  std::lock_guard<std::mutex> lock(m_lock);
  switch (id) {
    case kSarvikPropertyPlaybackSpeed: return answer<float>(m_speed, data, length);
    case kSarvikPropertyPlaybackLoop: return answer<uint32_t>(m_loop ? 1 : 0, data, length);
    case kSarvikPropertyPlaybackPaused: return answer<uint32_t>(m_paused ? 1 : 0, data, length);
    case kSarvikPropertyPlaybackSeekIndex:
    case kSarvikPropertyPlaybackPosition: return answer<uint64_t>(m_position, data, length);
    case kSarvikPropertyPlaybackSeekStamp:
      return answer<uint64_t>(m_position < m_index.entries.size() ? m_index.entries[m_position].stamp : 0, data,
                              length);
    case kSarvikPropertyPlaybackLength: return answer<uint64_t>(m_index.entries.size(), data, length);
    default: return kSarvikErrNotFound;
  }
}

int32_t PlaybackCamera::setProperty(uint32_t id, const void* data, uint32_t length) {
  if (id < kSarvikPropertyPlaybackSpeed || id > kSarvikPropertyPlaybackLength) return kSarvikErrUnsupported;
  std::unique_lock<std::mutex> lock(m_lock);
  switch (id) {
    case kSarvikPropertyPlaybackSpeed: {
      float speed;
      if (!take(data, length, &speed)) return kSarvikErrArgument;
      if (!(speed == 0.0f || (speed >= 0.25f && speed <= 8.0f))) return kSarvikErrArgument;
      m_speed = speed;
      break;
    }
    case kSarvikPropertyPlaybackLoop:
    case kSarvikPropertyPlaybackPaused: {
      uint32_t flag;
      if (!take(data, length, &flag) || flag > 1) return kSarvikErrArgument;
      (id == kSarvikPropertyPlaybackLoop ? m_loop : m_paused) = flag == 1;
      break;
    }
    case kSarvikPropertyPlaybackSeekIndex: {
      uint64_t index;
      if (!take(data, length, &index) || index >= m_index.entries.size()) return kSarvikErrArgument;
      m_position = index;
      ++m_seeks;
      break;
    }
    case kSarvikPropertyPlaybackSeekStamp: {
      uint64_t stamp;
      if (!take(data, length, &stamp)) return kSarvikErrArgument;
      // Stamps of interleaved streams need not rise strictly, so the first
      // entry at or past the stamp is searched for, not bisected.
      auto it = std::find_if(m_index.entries.begin(), m_index.entries.end(),
                             [stamp](const IndexEntry& e) { return e.stamp >= stamp; });
      if (it == m_index.entries.end()) return kSarvikErrArgument;
      m_position = static_cast<uint64_t>(it - m_index.entries.begin());
      ++m_seeks;
      break;
    }
    default: return kSarvikErrUnsupported;  // position and length are read only
  }
  m_rebase = true;
  lock.unlock();
  m_wake.notify_all();
  return 0;
}

int32_t PlaybackCamera::intrinsics(uint32_t sensorType, const SarvikModeRecord& mode, SarvikIntrinsics* out) {
  const SidecarStream* known = m_source.sidecar.find(sensorType, mode.mode.modeValue1, mode.mode.modeValue3);
  if (known == nullptr || !known->hasIntrinsics) return kSarvikErrUnsupported;
  *out = known->intrinsics;
  return 0;
}

int32_t PlaybackCamera::depthUnit(SarvikDepthUnit* out) {
  if (!m_source.sidecar.hasDepthUnit) return kSarvikErrUnsupported;
  *out = m_source.sidecar.depthUnit;
  return 0;
}

bool PlaybackCamera::deviceInfo(SarvikDeviceInfoBlock* info) {
  *info = SarvikDeviceInfoBlock{};
  info->blockVersion = 1;
  info->blockSize = sizeof *info;
  copyText(info->firmwareVersion, sizeof info->firmwareVersion,
           m_source.sidecar.firmware.empty() ? "playback" : m_source.sidecar.firmware);
  copyText(info->serialNumber, sizeof info->serialNumber, m_source.info.serial);
  copyText(info->hardwareId, sizeof info->hardwareId, "SARVIK-PLAYBACK");
  info->vendorId = m_source.info.vendorId;
  info->productId = m_source.info.productId;
  for (int slot = 0; slot < 4; ++slot) {
    if (!m_modes[slot].empty()) info->sensorMask |= kSlotTypes[slot];
  }
  return true;
}

int32_t PlaybackCamera::command(const std::string& text, std::string* reply) {
  if (text != SARVIK_COMMAND_VERSION) return kSarvikErrNotFound;
  *reply = m_source.sidecar.firmware.empty() ? "playback" : m_source.sidecar.firmware;
  return 0;
}

}  // namespace playback
