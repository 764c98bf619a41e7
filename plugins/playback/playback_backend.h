// Record files as cameras of the USB plug-in. A file becomes a camera when
// it is named
//   - in the settings file sarvikUvc.conf, one "play = /abs/path.rec" a line;
//   - in SARVIK_PLAY_FILES, colon-separated absolute paths (sarvik sets it
//     when it is given a file:// address);
//   - at run time by the text "play /abs/path.rec" (setUvcDriverText), which
//     is answered by a device-state event (0) from the plug-in's event
//     thread; "unplay /abs/path.rec" takes it away again (event 1).
// A path that cannot be played gets a log line and no camera, no event.
// Its address is "file://" + the canonical absolute path.
#ifndef SARVIK_PLAYBACK_BACKEND_H
#define SARVIK_PLAYBACK_BACKEND_H

#include <sys/types.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "../host/host_backend.h"
#include "playback_camera.h"

namespace playback {

// ConnectionType is the plug-in's; these mark the camera as a played file.
constexpr uint16_t kPlaybackVendorId = 0x2E5A;
constexpr uint16_t kPlaybackProductId = 0x5003;

class PlaybackBackend final : public sarvikhost::Backend {
 public:
  // paths: from the settings and the environment, added at start.
  PlaybackBackend(std::vector<std::string> paths, PlaybackDefaults defaults);

  // "speed" and "loop" of the settings, then SARVIK_PLAY_SPEED and
  // SARVIK_PLAY_LOOP; a value out of range is reported in *errors and left out.
  static PlaybackDefaults defaultsFrom(const std::string& speed, const std::string& loop,
                                       std::vector<std::string>* errors);
  ~PlaybackBackend() override;

  const char* name() const override { return "playback"; }
  sarvikhost::BackendKind kind() const override { return sarvikhost::BackendKind::File; }
  void start(sarvikhost::HostEvents* events) override;
  void poll() override;
  void stop() override;
  void list(std::vector<sarvikhost::CameraInfo>* out) override;
  int32_t open(const std::string& address, std::unique_ptr<sarvikhost::Camera>* out,
               sarvikhost::CameraInfo* info) override;
  int32_t text(const std::string& text) override;

  // Adds a file; false (with a log line) when it cannot be played.
  bool add(const std::string& path, bool announce);
  bool remove(const std::string& path);

  // From the cameras.
  void ended(PlaybackCamera* camera, const std::string& why);
  void forget(PlaybackCamera* camera);
  void log(const std::string& text);

  // Why a path cannot name a playable file, or empty; *canonical set when it can.
  static std::string checkPath(const std::string& path, std::string* canonical);

 private:
  struct File {
    PlaybackSource source;
    bool present = true;
    PlaybackCamera* endedBy = nullptr;  // the camera whose end took the file from the list
    dev_t device = 0;
    ino_t inode = 0;
  };

  // REQUIRES: m_lock held.
  File* find(const std::string& canonical);
  void post(const File& file, uint32_t state);  // REQUIRES: m_lock held

  const std::vector<std::string> m_initial;
  const PlaybackDefaults m_defaults;
  std::mutex m_lock;  // a leaf but for HostEvents::post and the cameras' markGone
  std::vector<File> m_files;              // guarded by m_lock
  std::vector<PlaybackCamera*> m_open;    // guarded by m_lock; not owned
  std::atomic<sarvikhost::HostEvents*> m_events{nullptr};
};

}  // namespace playback

#endif  // SARVIK_PLAYBACK_BACKEND_H
