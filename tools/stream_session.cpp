#include "tools/stream_session.h"

#include "sarvik/SarvikStatus.h"
#include "tools/mode_choice.h"

#include "tools/monotonic_clock.h"
#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {
// Short slices keep a stop request waiting no longer than this.
constexpr int32_t kWaitSliceMs = 200;
constexpr int32_t kTimedOut = -11;
}  // namespace

bool isCameraGone(int32_t status) { return status == -9 || status == -10 || status == kCameraUnplugged; }

StreamSession::StreamSession(SarvikBaseContext* context, const std::string& address,
                             const std::vector<uint32_t>& types, const std::vector<ModeRequest>& modes,
                             bool useCallbacks, StreamMonitor* monitor)
    : m_context(context),
      m_address(address),
      m_modes(modes),
      m_useCallbacks(useCallbacks),
      m_monitor(monitor),
      m_camera(context) {
  for (size_t i = 0; i < types.size(); ++i) m_slots.emplace_back(new Slot{this, i, types[i], nullptr});
}

StreamSession::~StreamSession() { close(); }

std::string StreamSession::failedCall() const {
  std::lock_guard<std::mutex> lock(m_callMutex);
  return m_failedCall;
}

void StreamSession::end(int32_t status, const std::string& call) {
  int32_t expected = 0;
  if (m_endStatus.compare_exchange_strong(expected, status)) {
    std::lock_guard<std::mutex> lock(m_callMutex);
    m_failedCall = call;
  }
}

int32_t StreamSession::open() {
  m_endStatus = 0;
  m_stopReading = false;
  int32_t status = m_camera.open(m_address);
  if (status != 0) return status;
  // A camera chosen by serial, index or default is found again by the
  // address it had, after an unplug too.
  m_address = m_camera.address();
  if (applyModes(m_context, m_camera.device(), m_modes) != 0) {
    close();
    return kStatusBadArgument;
  }
  for (auto& slot : m_slots) {
    // With a callback the module starts its callback thread before the
    // stream, so no frame arrives before we are ready for it.
    status = m_camera.openStream(slot->type, &slot->stream, m_useCallbacks ? &StreamSession::onFrame : nullptr,
                                 m_useCallbacks ? slot.get() : nullptr);
    if (status != 0) {
      close();
      return status;
    }
  }
  if (!m_useCallbacks) m_reader = std::thread(&StreamSession::readerLoop, this);
  return 0;
}

int32_t StreamSession::close() {
  m_stopReading = true;
  // The reader must be out of the module before its streams go: a direct
  // wait on a stream being destroyed is not allowed.
  if (m_reader.joinable()) m_reader.join();
  for (auto& slot : m_slots) slot->stream = nullptr;
  return m_camera.close();
}

// Runs on the stream's "Stream CallBack" thread; the frame carries one
// reference for us, given back at once since only the record's fields are read.
void StreamSession::onFrame(VideoStream* /*stream*/, typedefSarvikFrame* frame, void* user) {
  Slot* slot = static_cast<Slot*>(user);
  slot->session->m_monitor->onFrame(slot->index, *frame, monotonicMicros());
  slot->session->m_context->releaseFrame(frame);
}

void StreamSession::readerLoop() {
  std::vector<VideoStream*> streams;
  for (auto& slot : m_slots) streams.push_back(slot->stream);
  while (!m_stopReading) {
    VideoStream* ready = nullptr;
    const int32_t status =
        m_context->waitForStreams(streams.data(), static_cast<int32_t>(streams.size()), &ready, kWaitSliceMs);
    if (status == kTimedOut) continue;
    if (status != 0) {
      end(status, "waiting for frames");
      return;
    }
    if (!readQueuedFrames()) return;
  }
}

// A wake names only the stream that reported last, and a frame queued
// before a wait does not end the next one; so every stream is looked at.
bool StreamSession::readQueuedFrames() {
  for (auto& slot : m_slots) {
    typedefSarvikFrame* frame = nullptr;
    const int32_t status = m_context->readFrame(slot->stream, &frame, 0);
    if (status == kTimedOut) continue;
    if (status != 0) {
      end(status, "reading a " + streamTypeName(slot->type) + " frame");
      return false;
    }
    m_monitor->onFrame(slot->index, *frame, monotonicMicros());
    m_context->releaseFrame(frame);
  }
  return true;
}

}  // namespace tools
}  // namespace sarvik
