// The listener of one application thread's waits: attached to the waited
// streams for the length of one wait, it wakes the thread when one of them
// announces a frame and remembers which one did.
//
// Used by one thread only, so its connects and its disconnect_all never race
// each other (their lock orders run opposite ways).
#ifndef SARVIK_PIPELINE_MULTI_STREAMS_LISTENER_H
#define SARVIK_PIPELINE_MULTI_STREAMS_LISTENER_H

#include <atomic>
#include <cstdint>

#include "pipeline/stream_frame_base_listener.h"

namespace sarvik {

class EventWrapper;

class MultiStreamsListener : public StreamFrameBaseListener {
 public:
  MultiStreamsListener();
  ~MultiStreamsListener() override;

  MultiStreamsListener(const MultiStreamsListener&) = delete;
  MultiStreamsListener& operator=(const MultiStreamsListener&) = delete;

  // Connects to each stream in order; a stream named twice is connected
  // twice, and disconnect_all() clears both.
  void attachStreams(VideoStream** streams, int32_t count);

  // Stores the stream, then wakes the waiter. Takes no lock.
  void onStreamFrame(VideoStream* stream) override;

  EventWrapper* m_event;  // auto-reset, owned
  // The stream that reported last; written by any "Stream Thread", read by
  // the waiter after the event.
  std::atomic<VideoStream*> m_readyStream;
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_MULTI_STREAMS_LISTENER_H
