// Recorder operations and the record path rules. Every operation holds the
// context lock from its first step to its end, the opening of the file and
// the creation of directories included.
#include <cstring>
#include <string>

#include "context/context.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/sensor.h"
#include "pipeline/video_stream.h"
#include "platform/critical_section_wrapper.h"
#include "platform/path_utils.h"
#include "recording/stream_recorder.h"

namespace sarvik {

namespace {
constexpr size_t kMaxRecordPath = 255;
constexpr uint32_t kFullPathRoom = 4095;
constexpr uint32_t kMaxFullDirectory = 254;
}  // namespace

int32_t Context::createRecorder(const char* path, StreamRecorder** recorder) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardInitialized()) return status;
  if (recorder == nullptr) {
    setLastErrorCode(kErrBadArgument);
    return -4;
  }
  if (path == nullptr) {
    logMessage(3, "Create Recorder failed because File path invalid!");
    return -1;
  }
  logMessage(1, "Enter Create Recorder file[%s]", path);
  // The message speaks of streams; the limit is the one on recorders.
  if (m_recorders.size() >= kMaxRecorders) {
    logMessage(3, "Reached Max Stream number!");
    return -5;
  }
  char finalPath[256] = {0};
  if (checkRecordPath(path, finalPath) != 0) return -1;
  StreamRecorder* created = new StreamRecorder(finalPath);
  if (!created->isOpened()) {
    delete created;
    logMessage(3, "Create Recorder failed because File path invalid!");
    return -1;
  }
  m_recorders.push_back(created);
  *recorder = created;
  logMessage(1, "Create Recorder Success! recordHandle[%p]", static_cast<void*>(created));
  return 0;
}

int32_t Context::attachStreamToRecorder(StreamRecorder* recorder, VideoStream* stream) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardRecorder(recorder)) return status;
  if (!isValidStream(stream)) {
    setLastErrorCode(kErrInvalidStream);
    logMessage(3, "Stream Handle is Valid!");
    return -13;
  }
  const uint32_t type = stream->m_sensor->m_sensorType;
  logMessage(1, "Enter Create [%d] Record", type);
  return recorder->attachStream(stream, type);
}

int32_t Context::startRecorder(StreamRecorder* recorder) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardRecorder(recorder)) return status;
  recorder->setStarted(true);
  logMessage(1, "Recorder[%p] Start", static_cast<void*>(recorder));
  return 0;
}

int32_t Context::stopRecorder(StreamRecorder* recorder) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardRecorder(recorder)) return status;
  recorder->setStarted(false);
  logMessage(1, "Recorder[%p] Stop", static_cast<void*>(recorder));
  recorder->flush();
  return 0;
}

int32_t Context::destroyRecorder(StreamRecorder* recorder) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardRecorder(recorder)) return status;
  m_recorders.remove(recorder);
  logMessage(1, "After remove recorder, the size=%d", static_cast<int>(m_recorders.size()));
  delete recorder;
  return 0;
}

void Context::detachFromRecorders(VideoStream* stream) {
  ScopedLock lock(m_contextLock);
  for (StreamRecorder* recorder : m_recorders) recorder->detachStream(stream);
}

// Before a stream is deleted every recorder drops it, so that stream and
// recorder teardown never wait on each other's locks.
void Context::forgetStreamInRecorders(VideoStream* stream) {
  ScopedLock lock(m_contextLock);
  for (StreamRecorder* recorder : m_recorders) recorder->forgetStream(stream);
}

int32_t Context::checkRecordPath(const char* path, char* result) {
  std::string text(path);
  if (text.size() > kMaxRecordPath) {
    logMessage(3, "file path:%s length:%d more than 255, not support!", path, static_cast<int>(text.size()));
    return -1;
  }
  logMessage(1, "Begin check record directory:%s", path);
  std::string dir;
  std::string name;
  splitFolderAndName(text, &dir, &name);
  logMessage(1, "FileDir:%s, file name:%s", dir.c_str(), name.c_str());

  // A slash at index 0 is the root, never a directory to make.
  for (size_t i = 1; i < dir.size(); ++i) {
    if (dir[i] != '/') continue;
    const std::string prefix = dir.substr(0, i + 1);
    if (isDirectory(prefix.c_str())) continue;
    if (!makeDirectories(prefix.c_str())) {
      logMessage(3, "Error occurs in createDirectory:%s", prefix.c_str());
      return -1;
    }
  }

  char full[kFullPathRoom + 1] = {0};
  const uint32_t length = fullPathName(dir.c_str(), full, kFullPathRoom);
  if (length == 0 || length > kMaxFullDirectory) {
    logMessage(3, "get full path name failed!%s", dir.c_str());
    return -1;
  }
  std::string finalPath(full);
  if (finalPath.back() != '/' && finalPath.back() != '\\') finalPath += '/';
  finalPath += name;
  if (finalPath.size() > kMaxRecordPath) {
    logMessage(3, "Dir + name length more than 255!");
    return -1;
  }
  std::memcpy(result, finalPath.c_str(), finalPath.size() + 1);
  return 0;
}

}  // namespace sarvik
