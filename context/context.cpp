#include "context/context.h"

#include <algorithm>
#include <cstring>

#include "context/driver_modules.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "pipeline/video_stream.h"
#include "platform/critical_section_impl.h"
#include "recording/stream_recorder.h"

namespace sarvik {

Context* g_context = nullptr;

Context::Context()
    : m_colourBarReady(false),
      m_initialized(false),
      m_contextLock(new CriticalSectionImpl()),
      m_streamLock(new CriticalSectionImpl()),
      m_deviceCount(0),
      m_nodeCount(0),
      m_activeTask(nullptr),
      m_listenerLock(new CriticalSectionImpl()),
      m_shuttingDown(false),
      m_tableLock(new CriticalSectionImpl()),
      m_streamListLock(new CriticalSectionImpl()),
      m_callbackLock(new CriticalSectionImpl()) {
  armLastErrorStore();
  std::memset(m_deviceTable, 0, sizeof(m_deviceTable));
  std::memset(m_nodeTable, 0, sizeof(m_nodeTable));
  bindLogDriver();
  streamTypeNames[SARVIK_STREAM_COLOR] = "color";
  streamTypeNames[SARVIK_STREAM_DEPTH] = "depth";
  streamTypeNames[SARVIK_STREAM_LIGHT_IR] = "light ir";
  streamTypeNames[SARVIK_STREAM_IR] = "ir";
}

Context::~Context() {
  logMessage(1, "");
  delete m_contextLock;
  m_contextLock = nullptr;
  delete m_streamLock;
  m_streamLock = nullptr;
  releaseLastErrorCells();
  unbindLogDriver();
  // The listener lock lives as long as the object, so that a context can be
  // initialised again after shutdown.
  delete m_listenerLock;
  delete m_tableLock;
  delete m_streamListLock;
  delete m_callbackLock;
}

int32_t Context::refuseNotInitialized() {
  setLastErrorCode(kErrNotInitialized);
  logMessage(3, "not Initialized! ");
  return -2;
}

int32_t Context::guardInitialized() {
  // Once shutdown has begun, operations of other threads are refused as if the
  // context were down already; the shutting-down thread's own calls go on.
  // An operation's own inner steps are not new calls: shutdown waits for the
  // operation, which must be let finish.
  if (!m_initialized.load() ||
      (m_shuttingDown.load() && !m_gate.onShutdownThread() && !OperationGate::inInnerSteps())) {
    return refuseNotInitialized();
  }
  return 0;
}

bool Context::isValidDevice(Device* device) {
  ScopedLock lock(m_contextLock);
  return std::find(m_devices.begin(), m_devices.end(), device) != m_devices.end();
}

int32_t Context::guardDevice(Device* device, bool openCheck) {
  if (int32_t status = guardInitialized()) return status;
  if (!isValidDevice(device)) {
    setLastErrorCode(kErrInvalidDevice);
    logMessage(3, "Invalid Device!");
    return -3;
  }
  if (openCheck && !device->m_opened.load()) {
    setLastErrorCode(kErrInvalidDevice);
    return -3;
  }
  return 0;
}

int32_t Context::guardDeviceShort(Device* device) {
  if (int32_t status = guardInitialized()) return status;
  if (!isValidDevice(device)) {
    setLastErrorCode(kErrInvalidDevice);
    logMessage(3, "Invalid Device!");
    return -3;
  }
  return 0;
}

bool Context::isValidStream(VideoStream* stream) {
  ScopedLock lock(m_streamListLock);
  return std::find(m_streams.begin(), m_streams.end(), stream) != m_streams.end();
}

int32_t Context::guardStream(VideoStream* stream) {
  if (int32_t status = guardInitialized()) return status;
  if (!isValidStream(stream)) {
    setLastErrorCode(kErrInvalidStream);
    logMessage(3, "Stream Handle is Valid!");
    return -13;
  }
  return 0;
}

bool Context::isValidRecorder(StreamRecorder* recorder) {
  return std::find(m_recorders.begin(), m_recorders.end(), recorder) != m_recorders.end();
}

int32_t Context::guardRecorder(StreamRecorder* recorder) {
  if (int32_t status = guardInitialized()) return status;
  if (!isValidRecorder(recorder)) {
    logMessage(3, "Invalid Recorder Handler!");
    return -13;
  }
  return 0;
}

int32_t Context::refuseOwnStreamThread(VideoStream* stream) {
  if (stream == nullptr || !stream->isOwnThread()) return 0;
  // Stopping a stream joins its threads: from one of them that would wait
  // for itself forever.
  logMessage(2, "refused: called on the stream's own thread");
  return -1;
}

// A stream destroyStream has already taken out of the list still has its
// threads until it is deleted: they count too.
bool Context::isAnyStreamThread() {
  ScopedLock lock(m_streamListLock);
  for (VideoStream* stream : m_streams) {
    if (stream->isOwnThread()) return true;
  }
  for (const DyingStream& dying : m_dyingStreams) {
    if (!dying.deleting && dying.stream->isOwnThread()) return true;
  }
  return false;
}

}  // namespace sarvik

using sarvik::Context;
using sarvik::g_context;

extern "C" SARVIK_EXPORT SarvikBaseContext* ContextFactory() {
  if (g_context == nullptr) g_context = new Context();
  return g_context;
}

extern "C" SARVIK_EXPORT void deleteContext(SarvikBaseContext* context) {
  if (context == nullptr) return;
  if (context == g_context) {
    // No plug-in may keep a callback into a deleted object.
    if (static_cast<Context*>(context)->isInitialized()) context->shutdown();
    g_context = nullptr;
  }
  delete context;
}
