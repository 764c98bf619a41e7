// One opening of a camera and its streams for `sarvik stream`: opens them,
// reads them (one reader thread over all streams, or the module's frame
// callbacks) into a StreamMonitor, and closes them again. A `stream` run
// makes a new session each time its camera comes back after an unplug.
#ifndef SARVIK_TOOLS_STREAM_SESSION_H
#define SARVIK_TOOLS_STREAM_SESSION_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sarvik/SarvikBaseContext.h"
#include "tools/mode_choice.h"
#include "tools/open_camera.h"
#include "tools/stream_monitor.h"

namespace sarvik {
namespace tools {

// endStatus() of a session whose camera left the device table or sent an
// unplug event, as opposed to a wait that reported it.
constexpr int32_t kCameraUnplugged = 1;

// True for the statuses that mean "the camera went away": a wait's -9 (no
// device connected) and -10 (stream not ready), and kCameraUnplugged.
bool isCameraGone(int32_t status);

class StreamSession {
 public:
  // `address` may be any camera selector (see openCamera); after the first
  // open the session keeps to the address it found. `modes` are set on every open.
  StreamSession(SarvikBaseContext* context, const std::string& address, const std::vector<uint32_t>& types,
                const std::vector<ModeRequest>& modes, bool useCallbacks, StreamMonitor* monitor);
  ~StreamSession();
  StreamSession(const StreamSession&) = delete;
  StreamSession& operator=(const StreamSession&) = delete;

  // Opens the camera and every stream and starts reading. On failure prints
  // the failing call, closes what was opened and returns its status.
  int32_t open();
  // Stops reading and closes streams and camera; prints any failure and
  // returns the first failing status. Safe to call when nothing is open.
  int32_t close();
  bool isOpen() const { return m_camera.device() != nullptr; }
  const std::string& address() const { return m_address; }

  // 0 while reading goes on. Otherwise why it ended: isCameraGone(), or the
  // status of failedCall().
  int32_t endStatus() const { return m_endStatus.load(); }
  std::string failedCall() const;
  // Records an unplug seen from outside; the first end reported wins.
  void markGone() { end(kCameraUnplugged, std::string()); }

 private:
  // One per stream; its address is the frame callback's user pointer, so the
  // slots never move while the session is open.
  struct Slot {
    StreamSession* session;
    size_t index;
    uint32_t type;
    VideoStream* stream;
  };

  static void onFrame(VideoStream* stream, typedefSarvikFrame* frame, void* user);
  void readerLoop();
  bool readQueuedFrames();
  void end(int32_t status, const std::string& call);

  SarvikBaseContext* const m_context;
  std::string m_address;
  const std::vector<ModeRequest> m_modes;
  const bool m_useCallbacks;
  StreamMonitor* const m_monitor;
  std::vector<std::unique_ptr<Slot>> m_slots;
  OpenCamera m_camera;

  std::thread m_reader;
  std::atomic<bool> m_stopReading{false};
  std::atomic<int32_t> m_endStatus{0};
  mutable std::mutex m_callMutex;
  std::string m_failedCall;  // guarded by m_callMutex
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_STREAM_SESSION_H
