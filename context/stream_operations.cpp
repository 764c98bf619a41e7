// The application's stream operations: the four single steps of a stream's
// life, the callback setter, the two composites, and frame access.
//
// Frame references: readFrame and the callback thread hand the application one
// reference per record; releaseFrame gives it back.
#include <algorithm>

#include "context/context.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "pipeline/sensor.h"
#include "pipeline/video_stream.h"
#include "platform/critical_section_wrapper.h"
#include "recording/stream_recorder.h"

namespace sarvik {

int32_t Context::createStream(Device* device, uint32_t streamType, VideoStream** stream) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  logMessage(1, "");
  if (int32_t status = guardDevice(device, false)) return status;
  if (stream == nullptr) {
    setLastErrorCode(kErrBadArgument);
    return -4;
  }
  {
    ScopedLock listLock(m_streamListLock);
    if (m_streams.size() >= kMaxStreams) {
      setLastErrorCode(kErrTooManyStreams);
      return -5;
    }
  }
  // A type past the device's sensor table is refused before any table is touched.
  VideoStream* created = streamType < kSensorSlots ? device->createStream(streamType) : nullptr;
  if (created == nullptr) {
    setLastErrorCode(kErrStreamCreate);
    logMessage(3, " Create Stream handle failed!");
    return -1;
  }
  {
    ScopedLock listLock(m_streamListLock);
    m_streams.push_back(created);
  }
  *stream = created;
  return 0;
}

int32_t Context::destroyStream(VideoStream* stream) {
  OperationScope scope(m_gate);
  if (int32_t status = guardStream(stream)) return status;
  if (int32_t status = refuseOwnStreamThread(stream)) return status;
  size_t remaining = 0;
  bool removed = false;
  {
    ScopedLock listLock(m_streamListLock);
    auto found = std::find(m_streams.begin(), m_streams.end(), stream);
    removed = found != m_streams.end();
    m_streams.remove(stream);
    remaining = m_streams.size();
    // Until it is deleted, its threads still run and its Sensor is in use.
    if (removed) m_dyingStreams.push_back({stream, stream->m_device, false});
  }
  // Only the call whose removal found the handle deletes it; a racing second
  // destroy of the same handle answers as for an unknown one.
  if (!removed) {
    setLastErrorCode(kErrInvalidStream);
    logMessage(3, "Stream Handle is Valid!");
    return -13;
  }
  logMessage(1, "After remove stream, the size=%d", static_cast<int>(remaining));
  forgetStreamInRecorders(stream);
  // Stopped before the stream lock is taken, so that a frame callback that
  // reads frames can finish; only the deletion waits for a readFrame in progress.
  stream->stop();
  {
    // Its threads are joined: from now on only the device of the entry counts.
    ScopedLock listLock(m_streamListLock);
    for (DyingStream& dying : m_dyingStreams) {
      if (dying.stream == stream) dying.deleting = true;
    }
  }
  {
    ScopedLock streamLock(m_streamLock);
    delete stream;
  }
  ScopedLock listLock(m_streamListLock);
  m_dyingStreams.remove_if([stream](const DyingStream& dying) { return dying.stream == stream; });
  return 0;
}

int32_t Context::startStream(VideoStream* stream) {
  OperationScope scope(m_gate);
  logMessage(1, "");
  if (int32_t status = guardStream(stream)) return status;
  return stream->start();
}

int32_t Context::stopStream(VideoStream* stream) {
  OperationScope scope(m_gate);
  if (int32_t status = guardStream(stream)) return status;
  if (int32_t status = refuseOwnStreamThread(stream)) return status;
  stream->stop();
  return 0;
}

int32_t Context::setFrameCallback(VideoStream* stream, StreamFrameCallback callback, void* user) {
  OperationScope scope(m_gate);
  if (int32_t status = guardStream(stream)) return status;
  stream->setFrameCallback(callback, user);
  return 0;
}

int32_t Context::openStream(Device* device, uint32_t streamType, VideoStream** stream,
                            StreamFrameCallback callback, void* user) {
  OperationScope scope(m_gate);
  auto name = streamTypeNames.find(streamType);
  if (name == streamTypeNames.end()) {
    logMessage(3, "Can  not open stream[type = %d], Stream Type is Invalid", streamType);
    return -4;
  }
  logMessage(4, "Start open %s stream!", name->second.c_str());
  int32_t status = createStream(device, streamType, stream);
  if (status != 0) {
    logMessage(3, "Create stream failed");
    return status;
  }
  // Admitted: the rest of the open is one operation, not new calls.
  InnerSteps steps;
  if (callback != nullptr) {
    status = setFrameCallback(*stream, callback, user);
    if (status != 0) {
      destroyStream(*stream);
      *stream = nullptr;
      return status;
    }
    logMessage(4, "Set stream callback.");
  }
  status = startStream(*stream);
  if (status != 0) {
    logMessage(3, "Open %s stream failed ,ret = %d", name->second.c_str(), status);
    destroyStream(*stream);
    *stream = nullptr;
    return status;
  }
  logMessage(4, "Open %s stream succeed", name->second.c_str());
  return 0;
}

int32_t Context::closeStream(VideoStream* stream) {
  OperationScope scope(m_gate);
  if (int32_t status = guardStream(stream)) return status;
  if (int32_t status = refuseOwnStreamThread(stream)) return status;
  auto name = streamTypeNames.find(stream->m_sensor->m_sensorType);
  if (name != streamTypeNames.end()) logMessage(4, "Start stop %s stream ", name->second.c_str());
  InnerSteps steps;
  // Recorders let go of the stream before it stops.
  detachFromRecorders(stream);
  int32_t status = stopStream(stream);
  if (status != 0) {
    logMessage(4, "Finish stop stream");
    return status;
  }
  status = destroyStream(stream);
  logMessage(4, "Finish stop stream");
  return status;
}

// Hands the application one reference of the front frame, if there is one.
int32_t Context::takeFrame(VideoStream* stream, typedefSarvikFrame** frame) {
  FrameRefPtr front;
  if (stream->getFrame(front, true) == 0 && front) {
    front->addRef();  // the application's reference; the local one ends below
    *frame = front.get();
    return 0;
  }
  *frame = nullptr;
  return -1;
}

int32_t Context::readFrame(VideoStream* stream, typedefSarvikFrame** frame, uint32_t timeoutMs) {
  OperationScope scope(m_gate);
  ScopedLock streamLock(m_streamLock);
  if (int32_t status = guardStream(stream)) return status;
  if (frame == nullptr) {
    setLastErrorCode(kErrBadArgument);
    return -4;
  }
  if (takeFrame(stream, frame) == 0) return 0;
  VideoStream* streams[1] = {stream};
  const int32_t status = waitForStreams(streams, 1, nullptr, static_cast<int32_t>(timeoutMs));
  if (status != 0) {
    *frame = nullptr;
    return status;
  }
  if (takeFrame(stream, frame) == 0) return 0;
  setLastErrorCode(kErrNoFrame);
  return -11;
}

int32_t Context::releaseFrame(typedefSarvikFrame* frame) {
  if (!m_initialized.load()) return refuseNotInitialized();
  // A null record is refused like any other null argument.
  if (frame == nullptr) {
    setLastErrorCode(kErrBadArgument);
    return -4;
  }
  // No list is consulted: a frame may outlive its stream and its device.
  SarvikFrameRef::fromRecord(frame)->release();
  return 0;
}

}  // namespace sarvik
