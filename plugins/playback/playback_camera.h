// One open record file, played as a camera. One player thread walks the
// index in file order and hands each entry to the sink of its sensor, paced
// by the entries' stamps; entries of sensors not started are passed over
// without waiting.
//
// Controls (property ids of sarvik/SarvikCamera.h, each refused with
// kSarvikErrArgument for a wrong length or value): speed 0x200 (float, 0
// flat out, else 0.25..8; default 1, real time), loop 0x201, paused 0x202,
// seek by entry index 0x203 or stamp 0x204, position 0x205 and length 0x206
// (read only).
//
// Frames keep the stamps they were recorded with, so a recording of a played
// file has the stamps of the original; the pacing only decides when they go.
#ifndef SARVIK_PLAYBACK_CAMERA_H
#define SARVIK_PLAYBACK_CAMERA_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "../host/host_backend.h"
#include "playback_index.h"
#include "playback_sidecar.h"

namespace playback {

class PlaybackBackend;

// How a new camera starts to play.
struct PlaybackDefaults {
  float speed = 1.0f;
  bool loop = false;
};

struct PlaybackSource {
  std::string path;  // canonical
  sarvikhost::CameraInfo info;
  Sidecar sidecar;
  PlaybackDefaults defaults;
};

class PlaybackCamera final : public sarvikhost::Camera {
 public:
  // Takes the descriptor. backend outlives the camera.
  PlaybackCamera(PlaybackBackend* backend, const PlaybackSource& source, int fd, PlaybackIndex index);
  ~PlaybackCamera() override;

  const std::vector<SarvikModeRecord>& modes(uint32_t sensorType) override;
  int32_t startSensor(uint32_t sensorType, const SarvikModeRecord& mode, sarvikhost::FrameSink* sink) override;
  void stopSensor(uint32_t sensorType) override;
  uint32_t connectionState() override { return m_connected ? 0 : 1; }
  int32_t getProperty(uint32_t id, void* data, uint32_t* length) override;
  int32_t setProperty(uint32_t id, const void* data, uint32_t length) override;
  int32_t intrinsics(uint32_t sensorType, const SarvikModeRecord& mode, SarvikIntrinsics* out) override;
  int32_t depthUnit(SarvikDepthUnit* out) override;
  bool deviceInfo(SarvikDeviceInfoBlock* out) override;
  int32_t command(const std::string& text, std::string* reply) override;

  const std::string& path() const { return m_source.path; }
  uint64_t indexedBytes() const { return m_index.indexedBytes; }
  // The file went away or shrank under us: the camera is gone for good.
  void markGone();

 private:
  using Clock = std::chrono::steady_clock;

  void run();
  // REQUIRES: lock held. Restarts the pacing at the entry played next.
  void rebase();
  // Plays one entry; false when the file could not be read (it shrank).
  bool play(const IndexEntry& entry, std::unique_lock<std::mutex>& lock);
  void finish(const std::string& why);

  PlaybackBackend* const m_backend;
  const PlaybackSource m_source;
  const int m_fd;
  const PlaybackIndex m_index;
  std::vector<SarvikModeRecord> m_modes[4];
  const std::vector<SarvikModeRecord> m_none;
  std::atomic<bool> m_connected{true};

  std::mutex m_lock;
  std::condition_variable m_wake;
  sarvikhost::FrameSink* m_sinks[4] = {nullptr, nullptr, nullptr, nullptr};  // guarded by m_lock
  SarvikModeRecord m_current[4];                                              // guarded by m_lock
  float m_speed = 1.0f;          // guarded by m_lock
  bool m_loop = false;           // guarded by m_lock
  bool m_paused = false;         // guarded by m_lock
  uint64_t m_position = 0;       // guarded by m_lock
  uint64_t m_seeks = 0;          // guarded by m_lock; counts seeks
  bool m_rebase = true;          // guarded by m_lock
  bool m_stop = false;           // guarded by m_lock
  bool m_toldTail = false;       // guarded by m_lock
  Clock::time_point m_baseTime;  // guarded by m_lock
  uint64_t m_baseStamp = 0;      // guarded by m_lock
  std::thread m_thread;          // guarded by m_lock

  // Held by the player from taking a sink to the end of its delivery, so that
  // stopSensor can wait for a delivery in flight.
  std::mutex m_deliverLock;
};

}  // namespace playback

#endif  // SARVIK_PLAYBACK_CAMERA_H
