#include "pipeline/multi_streams_listener.h"

#include "pipeline/video_stream.h"
#include "platform/event_impl.h"

namespace sarvik {

MultiStreamsListener::MultiStreamsListener() : m_event(new EventImpl()), m_readyStream(nullptr) {}

// Off every signal before the event goes: a delivery in progress finishes
// first, and none can reach the deleted event afterwards.
MultiStreamsListener::~MultiStreamsListener() {
  disconnect_all();
  delete m_event;
}

void MultiStreamsListener::attachStreams(VideoStream** streams, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    streams[i]->m_newFrameSignal.connect(static_cast<StreamFrameBaseListener*>(this),
                                         &StreamFrameBaseListener::onStreamFrame);
  }
}

void MultiStreamsListener::onStreamFrame(VideoStream* stream) {
  m_readyStream.store(stream);
  m_event->set();
}

}  // namespace sarvik
