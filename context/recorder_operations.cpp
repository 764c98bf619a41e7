// Recorder operations. Placeholder answers until recording lands: every
// operation gives its guard's status.
#include "context/context.h"
#include "logging/log_bridge.h"
#include "platform/critical_section_wrapper.h"

namespace sarvik {

int32_t Context::createRecorder(const char* path, StreamRecorder** recorder) {
  (void)path;
  (void)recorder;
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardInitialized()) return status;
  return -1;
}

int32_t Context::attachStreamToRecorder(StreamRecorder* recorder, VideoStream* stream) {
  (void)stream;
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  return guardRecorder(recorder);
}

int32_t Context::startRecorder(StreamRecorder* recorder) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  return guardRecorder(recorder);
}

int32_t Context::stopRecorder(StreamRecorder* recorder) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  return guardRecorder(recorder);
}

int32_t Context::destroyRecorder(StreamRecorder* recorder) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  return guardRecorder(recorder);
}

void Context::detachFromRecorders(VideoStream*) {}

void Context::forgetStreamInRecorders(VideoStream*) {}

int32_t Context::checkRecordPath(const char*, char*) { return -1; }

bool Context::makeDirectories(const char*) { return false; }

}  // namespace sarvik
