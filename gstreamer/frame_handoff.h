// The hand-over of frames from the module's "Stream CallBack" thread to the
// element's streaming thread: one frame deep, newest wins, like the module's
// own stream queue. A live source that falls behind skips images; it never
// builds a backlog of old ones.
//
// put() runs on the module's callback thread and only ever takes m_lock
// briefly, so that closing the stream (which joins that thread) can never
// wait on the streaming thread.
#ifndef SARVIK_GST_FRAME_HANDOFF_H
#define SARVIK_GST_FRAME_HANDOFF_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "sarvik/SarvikBaseContext.h"

namespace sarvik_gst {

class FrameHandoff {
 public:
  enum class Wait { kFrame, kTimeout, kFlushing, kGone };

  explicit FrameHandoff(SarvikBaseContext* context) : m_context(context) {}
  ~FrameHandoff() { clear(); }
  FrameHandoff(const FrameHandoff&) = delete;
  FrameHandoff& operator=(const FrameHandoff&) = delete;

  // Takes over the reference that comes with `frame`; a frame still waiting
  // is given back.
  void put(typedefSarvikFrame* frame);
  // Waits up to `timeout` for a frame, which the caller then owns. A frame
  // waiting wins over "gone", so the last images before an unplug or the end
  // of a file still come out.
  Wait take(typedefSarvikFrame** frame, std::chrono::milliseconds timeout);
  void setFlushing(bool flushing);
  void setGone();
  void clear();  // gives a waiting frame back; resets flushing and gone
  uint64_t skipped() const;  // frames replaced before they were taken

  // The module's StreamFrameCallback; user is the FrameHandoff.
  static void onFrame(sarvik::VideoStream* stream, typedefSarvikFrame* frame, void* user);

 private:
  SarvikBaseContext* const m_context;
  mutable std::mutex m_lock;
  std::condition_variable m_changed;
  typedefSarvikFrame* m_frame = nullptr;  // guarded by m_lock
  bool m_flushing = false;                // guarded by m_lock
  bool m_gone = false;                    // guarded by m_lock
  uint64_t m_skipped = 0;                 // guarded by m_lock
};

}  // namespace sarvik_gst

#endif  // SARVIK_GST_FRAME_HANDOFF_H
