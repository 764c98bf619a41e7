// Writes the frames of its attached streams into one record file. It has no
// thread: each frame is written on its stream's "Stream Thread", from inside
// the stream's frame signal, and only while nobody took the frame first.
//
// Locks: a stream signal's lock (held through delivery) -> m_lock -> the
// stream's queue lock / the file's lock. m_lock is never held while a signal
// lock is taken, so that detaching (which waits for a delivery in progress)
// cannot deadlock against one.
#ifndef SARVIK_RECORDING_STREAM_RECORDER_H
#define SARVIK_RECORDING_STREAM_RECORDER_H

#include <atomic>
#include <cstdint>
#include <map>

#include "pipeline/stream_frame_base_listener.h"
#include "recording/record_format.h"

namespace sarvik {

class CriticalSectionWrapper;
class FileWrapper;
class VideoStream;

class StreamRecorder : public StreamFrameBaseListener {
 public:
  // Opens (and cuts) the file at once; m_opened tells whether that worked.
  explicit StreamRecorder(const char* path);
  ~StreamRecorder() override;

  // 0 attached (also, without attaching, while started), -4 attached already,
  // -1 the stream's device has no current frame mode.
  int32_t attachStream(VideoStream* stream, uint32_t streamType);
  // 0 detached, -4 not attached. When it returns no delivery from that stream
  // is under way.
  int32_t detachStream(VideoStream* stream);
  // Drops the stream silently before the stream is deleted.
  void forgetStream(VideoStream* stream);

  void onStreamFrame(VideoStream* stream) override;

  bool isOpened() const { return m_opened; }
  void setStarted(bool started) { m_started.store(started); }
  bool isStarted() const { return m_started.load(); }
  // Pushes buffered bytes to the file; the file stays open.
  void flush();

 private:
  uint32_t writeData(const void* data, uint32_t dataSize);
  void writeEntry(const SarvikRecordTag& tag, const void* data);
  RecordStreamHeader& headerOf(uint32_t streamType);

  CriticalSectionWrapper* m_lock;  // guards AttachedMap, the counters and the two writes of a frame
  FileWrapper* m_file;
  RecordStreamHeader m_streamHeaders[5];
  std::map<VideoStream*, uint32_t> AttachedMap;
  bool m_opened;
  std::atomic<bool> m_started;
};

}  // namespace sarvik

#endif  // SARVIK_RECORDING_STREAM_RECORDER_H
