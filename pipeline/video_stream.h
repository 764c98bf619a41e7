// The application's view of one sensor: a stream handle is a VideoStream*.
// Each frame of the Sensor goes into a queue of depth 1 (newest wins, nothing
// is refused) and is handed on one of two ways:
//  - no frame callback: "Stream Thread" tells the listeners on
//    m_newFrameSignal that there is a frame, and the frame stays queued for
//    them and for readers;
//  - a frame callback: "Stream CallBack" pops the frame and calls the
//    application with one reference for it, with no lock held.
//
// Threads and locks: onNewFrame runs on the plug-in's delivery thread with
// the Sensor signal's lock held and takes m_queueLock; under m_queueLock the
// only other lock ever taken is a pool's, by the release of a dropped frame.
// start(), stop(), setFrameCallback() and the destructor must not run for one
// stream on two threads at once, nor on the stream's own threads: stop() joins
// them (isOwnThread() lets the caller refuse that).
#ifndef SARVIK_PIPELINE_VIDEO_STREAM_H
#define SARVIK_PIPELINE_VIDEO_STREAM_H

#include <atomic>
#include <cstdint>

#include "pipeline/bounded_list.h"
#include "platform/sigslot.h"
#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikFrame.h"

namespace sarvik {

class CriticalSectionWrapper;
class Device;
class EventWrapper;
class Sensor;
class ThreadWrapper;

class VideoStream : public sigslot::has_slots<sigslot::single_threaded> {
 public:
  // Creates the threads' objects; nothing runs yet.
  VideoStream(Device* device, Sensor* sensor);
  // Stops a started stream first, so that no thread of the pipeline runs in
  // it any more. Listeners still connected are let go of by the signal.
  ~VideoStream() override;

  VideoStream(const VideoStream&) = delete;
  VideoStream& operator=(const VideoStream&) = delete;

  // 0, the status of "Stream Thread"'s start (nothing changed then), or the
  // Sensor's start status (the stream then stays started until stop()).
  int32_t start();
  // Ends callbacks, deliveries and notifications, in that order, then gives
  // the Sensor back its count and releases what is queued. Frames the
  // application holds are not touched.
  void stop();

  // The front of the queue, without waiting: 0, -2 when not started, -5 when
  // empty (out untouched). With remove, the queue's reference moves to out;
  // without, out takes one of its own and the frame stays queued.
  int32_t getFrame(FrameRefPtr& out, bool remove);
  // Like getFrame without removal, but waits up to 1000 ms for a frame when
  // the queue is empty: 0, -2 when not started, -1 otherwise (last error
  // 0x8030010a on a time-out). It competes with "Stream Thread" for the
  // event: a frame it wakes for is not announced to the listeners.
  int32_t getFrameWait(FrameRefPtr& out);

  // Slot on the Sensor's m_newFrameSignal, on the delivery thread.
  void onNewFrame(SarvikFrameRef* frame);

  // Sets the callback and starts "Stream CallBack". Works in any state; after
  // a stop() it must be called again for callbacks to resume.
  void setFrameCallback(StreamFrameCallback callback, void* user);

  // True on this stream's "Stream Thread" or "Stream CallBack".
  bool isOwnThread() const;

  // Run functions of the two threads: true to be called again.
  static bool newFrameThreadFunc(void* context);
  static bool NewCallFrameBackProcess(void* context);

  // Enough for the depth of 1 that m_maxQueueSize always has.
  typedef BoundedList<SarvikFrameRef*, 4> FrameQueue;

  sigslot::signal1<VideoStream*, sigslot::multi_threaded_local> m_newFrameSignal;
  Device* m_device;  // not owned
  Sensor* m_sensor;  // not owned
  std::atomic<bool> b_Started;
  ThreadWrapper* m_newFrameThread;
  EventWrapper* m_newFrameEvent;
  std::atomic<bool> b_NewFrameThreadStarted;
  ThreadWrapper* m_callBackThread;
  EventWrapper* m_callBackEvent;
  std::atomic<bool> b_CallBackThreadStarted;
  CriticalSectionWrapper* m_queueLock;
  FrameQueue m_frameQueue;  // guarded by m_queueLock; one reference per entry
  // The three below are written under m_queueLock, so that the delivery and
  // callback threads see a callback and its user data as one pair.
  uint32_t m_maxQueueSize;
  StreamFrameCallback m_frameCallBack;
  void* m_callBackUserData;

 private:
  bool runNewFrameThread();
  bool runCallBackThread();
  void stopCallBackThread();
  void releaseQueuedFrames();
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_VIDEO_STREAM_H
