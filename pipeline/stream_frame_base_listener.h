// Base of everything that listens to a stream's m_newFrameSignal: the
// multi-stream waiter and the recorder. The slot is virtual, so one connection
// type serves every listener class.
#ifndef SARVIK_PIPELINE_STREAM_FRAME_BASE_LISTENER_H
#define SARVIK_PIPELINE_STREAM_FRAME_BASE_LISTENER_H

#include "platform/sigslot.h"

namespace sarvik {

class VideoStream;

class StreamFrameBaseListener : public sigslot::has_slots<sigslot::multi_threaded_local> {
 public:
  // Runs on the stream's "Stream Thread" with that stream's signal lock held:
  // it must not take this listener's own has_slots lock, nor wait for a thread
  // that is about to use the stream's signal. The frame is still queued; take
  // it with getFrame without removal, if at all.
  virtual void onStreamFrame(VideoStream* stream) = 0;
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_STREAM_FRAME_BASE_LISTENER_H
