#include "recording/stream_recorder.h"

#include <cerrno>
#include <cstring>

#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "pipeline/sensor.h"
#include "pipeline/video_stream.h"
#include "platform/critical_section_impl.h"
#include "platform/file_impl.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {

namespace {

// Entries 0 to 3 count the named types; every other type shares entry 4.
int headerIndex(uint32_t streamType) {
  switch (streamType) {
    case SARVIK_STREAM_COLOR:
      return 0;
    case SARVIK_STREAM_DEPTH:
      return 1;
    case SARVIK_STREAM_IR:
      return 2;
    case SARVIK_STREAM_LIGHT_IR:
      return 3;
    default:
      return 4;
  }
}

}  // namespace

StreamRecorder::StreamRecorder(const char* path)
    : m_lock(new CriticalSectionImpl()), m_file(new FileImpl()), m_opened(false), m_started(false) {
  std::memset(m_streamHeaders, 0, sizeof(m_streamHeaders));
  logMessage(kLogMilestone, "Recorder recordFile:%s", path);
  // Mode "wb": a file of that name is cut to length 0 now, not at start.
  const int32_t status = m_file->open(path, false, false, false);
  if (status != 0) {
    logMessage(kLogError, "File opened, retcode:%d", status);
    m_opened = false;
  } else {
    m_opened = true;
  }
}

StreamRecorder::~StreamRecorder() {
  // Before anything is freed, no delivery may be under way or start again.
  disconnect_all();
  logMessage(kLogTrace, "~StreamRecorder()");
  m_started.store(false);
  if (m_file->isOpen()) {
    m_file->flush();
    m_file->close();
  }
  delete m_file;
  m_file = nullptr;
  m_opened = false;
  delete m_lock;
  m_lock = nullptr;
  AttachedMap.clear();
}

RecordStreamHeader& StreamRecorder::headerOf(uint32_t streamType) {
  return m_streamHeaders[headerIndex(streamType)];
}

int32_t StreamRecorder::attachStream(VideoStream* stream, uint32_t streamType) {
  if (m_started.load()) {
    logMessage(kLogMilestone, "Recorder is already Started and can't AttachStream[%p]", static_cast<void*>(stream));
    return 0;
  }
  {
    ScopedLock lock(m_lock);
    if (AttachedMap.count(stream) != 0) {
      logMessage(kLogTrace, "Stream[%p] is already Attached", static_cast<void*>(stream));
      return kStatusBadArgument;
    }
  }
  DeviceInterfaceBase* object = stream->m_device->m_device.load();
  const typedefSarvikFrameMode* mode =
      object != nullptr ? object->getCurrentFrameMode(stream->m_sensor->m_sensorType) : nullptr;
  if (mode == nullptr) {
    logMessage(kLogError, "get current Framamode failed!");
    return kStatusFailed;
  }
  size_t attached = 0;
  {
    ScopedLock lock(m_lock);
    // A new attach of a type starts its count again, also after a detach.
    RecordStreamHeader& header = headerOf(streamType);
    header.streamType = static_cast<uint16_t>(streamType);
    header.frameCount = 0;
    header.modeValue1 = mode->modeValue1;
    header.modeValue2 = mode->modeValue2;
    header.modeValue3 = mode->modeValue3;
    header.modeValue4 = mode->modeValue4;
    AttachedMap[stream] = streamType;
    attached = AttachedMap.size();
  }
  logMessage(kLogTrace, "Attach Stream[%p] Success! AttachedMap.size() = %d", static_cast<void*>(stream),
             static_cast<int>(attached));
  stream->m_newFrameSignal.connect(static_cast<StreamFrameBaseListener*>(this),
                                   &StreamFrameBaseListener::onStreamFrame);
  return 0;
}

int32_t StreamRecorder::detachStream(VideoStream* stream) {
  {
    ScopedLock lock(m_lock);
    if (AttachedMap.count(stream) == 0) {
      logMessage(kLogWarning, "Stream[%p] is not Attached", static_cast<void*>(stream));
      return kStatusBadArgument;
    }
  }
  // Waits, through the signal's lock, for a delivery to this recorder in progress.
  stream->m_newFrameSignal.disconnect(static_cast<StreamFrameBaseListener*>(this));
  size_t attached = 0;
  {
    ScopedLock lock(m_lock);
    AttachedMap.erase(stream);
    attached = AttachedMap.size();
  }
  logMessage(kLogTrace, "DeAttach Stream[%p] Success! AttachedMap.size() = %d", static_cast<void*>(stream),
             static_cast<int>(attached));
  return 0;
}

void StreamRecorder::forgetStream(VideoStream* stream) {
  bool attached = false;
  {
    ScopedLock lock(m_lock);
    attached = AttachedMap.erase(stream) != 0;
  }
  if (attached) stream->m_newFrameSignal.disconnect(static_cast<StreamFrameBaseListener*>(this));
}

void StreamRecorder::flush() { m_file->flush(); }

uint32_t StreamRecorder::writeData(const void* data, uint32_t dataSize) {
  if (!m_file->isOpen()) {
    logMessage(kLogWarning, "File not opened");
    return 0;
  }
  const int32_t written = m_file->write(data, static_cast<int32_t>(dataSize));
  return written < 0 ? 0 : static_cast<uint32_t>(written);
}

void StreamRecorder::onStreamFrame(VideoStream* stream) {
  if (!m_started.load()) return;
  ScopedLock lock(m_lock);
  auto attached = AttachedMap.find(stream);
  if (attached == AttachedMap.end()) return;
  const uint32_t type = attached->second;

  // The frame stays queued for the application; this delivery holds its own
  // reference until the writes are done. A reader that took the frame first
  // leaves nothing to record.
  FrameRefPtr frame;
  if (stream->getFrame(frame, false) != 0 || !frame) return;

  // The index is used up before any check, so a dropped frame leaves a gap.
  SarvikRecordTag tag;
  tag.streamType = static_cast<uint16_t>(type);
  tag.frameIndex = headerOf(type).frameCount++;
  tag.frameStamp = frame->frameStamp;
  tag.dataSize = frame->dataSize;
  tag.width = frame->width;
  tag.height = frame->height;
  const void* data = frame->data;

  if (frame->streamType != type) return;
  if (tag.dataSize == 0 || data == nullptr || tag.dataSize > frame->bufferCapacity()) return;
  writeEntry(tag, data);
}

// REQUIRES: m_lock is held, so that the tag and its data stay together.
void StreamRecorder::writeEntry(const SarvikRecordTag& tag, const void* data) {
  bool tagWritten = false;
  if (!m_file->isOpen()) {
    logMessage(kLogWarning, "File not opened");
  } else {
    uint8_t bytes[kSarvikRecordTagBytes];
    sarvikEncodeRecordTag(tag, bytes);
    tagWritten = m_file->write(bytes, static_cast<int32_t>(sizeof bytes)) == static_cast<int32_t>(sizeof bytes);
  }
  if (!tagWritten) logMessage(kLogWarning, "write FrameTag failed, errno:0x%x", static_cast<unsigned>(errno));
  // The data goes out even after a failed tag: the entry is then damaged, and
  // the file has no means to resynchronise either way.
  if (writeData(data, tag.dataSize) != tag.dataSize) {
    logMessage(kLogWarning, "write Data failed, errno:0x%x", static_cast<unsigned>(errno));
  }
}

}  // namespace sarvik
