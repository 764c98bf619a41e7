// waitForStreams: the calling thread's listener is attached to each stream's
// frame signal, the thread sleeps on the listener's event in slices of at most
// 1000 ms, and the devices are looked at before every slice.
#include "context/context.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "pipeline/multi_streams_listener.h"
#include "pipeline/video_stream.h"
#include "platform/critical_section_wrapper.h"
#include "platform/event_wrapper.h"
#include "platform/thread_id.h"

namespace sarvik {

namespace {
constexpr uint32_t kSliceMs = 1000;
constexpr uint32_t kWaitWithoutLimit = 0xFFFFFFFFu;
}  // namespace

MultiStreamsListener* Context::getThreadListener() {
  const uint32_t threadId = currentThreadId();
  ScopedLock lock(m_listenerLock);
  auto found = m_listeners.find(threadId);
  if (found != m_listeners.end()) return found->second;
  logMessage(4, "StramListener ThradID = %d", threadId);
  MultiStreamsListener* listener = new MultiStreamsListener();
  m_listeners[threadId] = listener;
  return listener;
}

int32_t Context::waitOnce(VideoStream** streams, int32_t count, MultiStreamsListener* listener,
                          VideoStream** readyStream, uint32_t ms) {
  // Neither check below calls a plug-in: no wait, even one without limit,
  // holds up shutdown or the destruction of one of its streams past a slice.
  if (m_shuttingDown.load() && !m_gate.onShutdownThread()) return refuseNotInitialized();
  for (int32_t i = 0; i < count; ++i) {
    if (!isValidStream(streams[i])) {
      setLastErrorCode(kErrInvalidStream);
      logMessage(3, "Stream Handle is Valid!");
      return -13;
    }
  }

  bool connected = false;
  for (int32_t i = 0; i < count && !connected; ++i) {
    DeviceInterfaceBase* object = streams[i]->m_device->m_device.load();
    connected = object != nullptr && object->getConnectionState() == 0;
  }
  if (!connected) return -9;

  // Streams of several devices: one ready device is enough, the mirror of the
  // connection check above.
  bool ready = false;
  for (int32_t i = 0; i < count && !ready; ++i) {
    DeviceInterfaceBase* object = streams[i]->m_device->m_device.load();
    ready = object != nullptr && object->isStreamReady();
  }
  if (!ready) return -10;

  const int32_t status = listener->m_event->wait(ms);
  if (status != 0) return status;
  if (readyStream != nullptr) *readyStream = listener->m_readyStream.load();
  return 0;
}

int32_t Context::waitForStreams(VideoStream** streams, int32_t count, VideoStream** readyStream,
                                int32_t timeoutMs) {
  OperationScope scope(m_gate);
  if (int32_t status = guardInitialized()) return status;
  if (count < 1) {
    setLastErrorCode(kErrBadArgument);
    return -4;
  }
  if (streams == nullptr) {
    setLastErrorCode(kErrBadArgument);
    return -4;
  }
  for (int32_t i = 0; i < count; ++i) {
    if (!isValidStream(streams[i])) {
      setLastErrorCode(kErrInvalidStream);
      logMessage(3, "Stream Handle is Valid!");
      return -13;
    }
  }

  MultiStreamsListener* listener = getThreadListener();
  listener->attachStreams(streams, count);

  int32_t result = 0;
  uint32_t remaining = static_cast<uint32_t>(timeoutMs);
  if (remaining == kWaitWithoutLimit) {
    do {
      result = waitOnce(streams, count, listener, readyStream, kSliceMs);
    } while (result == -11);
  } else {
    for (;;) {
      if (remaining <= kSliceMs) {
        result = waitOnce(streams, count, listener, readyStream, remaining);
        break;
      }
      remaining -= kSliceMs;
      result = waitOnce(streams, count, listener, readyStream, kSliceMs);
      if (result != -11) break;
    }
  }

  listener->disconnect_all();
  listener->m_readyStream.store(nullptr);
  listener->m_event->reset();
  return result;
}

}  // namespace sarvik
