#include "pipeline/video_stream.h"

#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "logging/module_reporter.h"
#include "pipeline/sensor.h"
#include "platform/critical_section_impl.h"
#include "platform/event_impl.h"
#include "platform/thread_id.h"
#include "platform/thread_impl.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {

namespace {
constexpr uint32_t kTickMs = 100;
constexpr uint32_t kPeekWaitMs = 1000;
// Lets a callback that is about to notice the cleared flag come back first.
constexpr uint32_t kCallBackStopPauseMs = 20;
}  // namespace

VideoStream::VideoStream(Device* device, Sensor* sensor)
    : m_device(device),
      m_sensor(sensor),
      b_Started(false),
      m_newFrameThread(nullptr),
      m_newFrameEvent(nullptr),
      b_NewFrameThreadStarted(false),
      m_callBackThread(nullptr),
      m_callBackEvent(nullptr),
      b_CallBackThreadStarted(false),
      m_queueLock(nullptr),
      m_maxQueueSize(1),
      m_frameCallBack(nullptr),
      m_callBackUserData(nullptr) {
  logMessage(kLogTrace, "Create newFrameThreadFunc");
  m_newFrameThread = new ThreadImpl(newFrameThreadFunc, this, "Stream Thread", moduleReporter());
  m_newFrameEvent = new EventImpl();
  m_callBackThread = new ThreadImpl(NewCallFrameBackProcess, this, "Stream CallBack", moduleReporter());
  m_callBackEvent = new EventImpl();
  m_queueLock = new CriticalSectionImpl();
}

// A "Stream CallBack" that outlived stop() (set on a stream never started, or
// set again after a stop) ends when its thread object is deleted, before the
// event and the lock it uses.
VideoStream::~VideoStream() {
  if (b_Started.load()) stop();
  delete m_newFrameThread;
  delete m_newFrameEvent;
  delete m_callBackThread;
  delete m_callBackEvent;
  delete m_queueLock;
}

int32_t VideoStream::start() {
  logMessage(kLogTrace, "");
  if (b_Started.load()) return 0;
  b_NewFrameThreadStarted.store(true);
  const int32_t status = m_newFrameThread->start();
  if (status != 0) {
    b_NewFrameThreadStarted.store(false);
    logMessage(kLogError, "start stream thread failed[%d]", status);
    return status;
  }
  // Connected before the Sensor starts, so the very first frame has a receiver.
  m_sensor->m_newFrameSignal.connect(this, &VideoStream::onNewFrame);
  b_Started.store(true);
  return m_sensor->start();
}

void VideoStream::stop() {
  logMessage(kLogTrace, "");
  if (b_Started.load()) {
    if (m_frameCallBack != nullptr) stopCallBackThread();
    // The signal's lock makes this wait for a delivery in progress; no
    // onNewFrame of this stream runs afterwards.
    m_sensor->m_newFrameSignal.disconnect(this);
    b_NewFrameThreadStarted.store(false);
    m_newFrameEvent->set();
    m_newFrameThread->stop();
    m_sensor->stop();
  }
  releaseQueuedFrames();
}

// Joins the thread, and with it a callback that is running.
void VideoStream::stopCallBackThread() {
  b_CallBackThreadStarted.store(false);
  sleepMs(kCallBackStopPauseMs);
  m_callBackEvent->set();
  m_callBackThread->stop();
}

void VideoStream::releaseQueuedFrames() {
  ScopedLock lock(m_queueLock);
  while (!m_frameQueue.empty()) m_frameQueue.popFront()->release();
  b_Started.store(false);
}

void VideoStream::onNewFrame(SarvikFrameRef* frame) {
  // Between connect and b_Started (another stream already runs the Sensor).
  if (!b_Started.load()) return;
  ScopedLock lock(m_queueLock);
  uint32_t depth = m_maxQueueSize < FrameQueue::kCapacity ? m_maxQueueSize : FrameQueue::kCapacity;
  if (depth == 0) depth = 1;
  // Newest wins: whatever nobody took in time is dropped here.
  while (m_frameQueue.size() >= depth) m_frameQueue.popFront()->release();
  m_frameQueue.pushBack(frame);
  frame->addRef();  // the queue's own reference
  if (m_frameCallBack != nullptr) {
    m_callBackEvent->set();
  } else {
    m_newFrameEvent->set();
  }
}

int32_t VideoStream::getFrame(FrameRefPtr& out, bool remove) {
  if (!b_Started.load()) {
    logMessage(kLogWarning, "Stream Not Stared");
    return kStatusNotInitialized;
  }
  ScopedLock lock(m_queueLock);
  if (m_frameQueue.empty()) return kStatusListFull;
  out = m_frameQueue.front();  // out takes a reference of its own
  if (remove) m_frameQueue.popFront()->release();  // the queue's; out still holds one
  return 0;
}

int32_t VideoStream::getFrameWait(FrameRefPtr& out) {
  if (!b_Started.load()) {
    logMessage(kLogWarning, "Stream Not Stared");
    return kStatusNotInitialized;
  }
  bool empty;
  {
    ScopedLock lock(m_queueLock);
    empty = m_frameQueue.empty();
  }
  if (empty) {
    const int32_t status = m_newFrameEvent->wait(kPeekWaitMs);
    if (status == kEventTimeout) {
      setLastErrorCode(kErrPeekTimeout);
      return kStatusFailed;
    }
    if (status != kEventSignaled) return kStatusFailed;
    if (!b_NewFrameThreadStarted.load()) {
      logMessage(kLogMilestone, "b_NewFrameThreadStarted is false, Thread is Stop");
      return kStatusFailed;
    }
  }
  {
    ScopedLock lock(m_queueLock);
    if (!m_frameQueue.empty()) out = m_frameQueue.front();  // stays queued
  }
  return out ? 0 : -1;
}

// The order matters: the flag goes up before the thread starts, so that a
// frame arriving first is delivered rather than taken for a stop.
void VideoStream::setFrameCallback(StreamFrameCallback callback, void* user) {
  {
    ScopedLock lock(m_queueLock);
    m_maxQueueSize = 1;
    m_frameCallBack = callback;
    m_callBackUserData = user;
  }
  b_CallBackThreadStarted.store(true);
  // -5 when it runs already: it picks up the new callback with the next frame.
  m_callBackThread->start();
}

bool VideoStream::isOwnThread() const {
  return m_newFrameThread->isCurrentThread() || m_callBackThread->isCurrentThread();
}

bool VideoStream::newFrameThreadFunc(void* context) {
  return static_cast<VideoStream*>(context)->runNewFrameThread();
}

bool VideoStream::NewCallFrameBackProcess(void* context) {
  return static_cast<VideoStream*>(context)->runCallBackThread();
}

// Listener slots run here, with m_newFrameSignal's lock held.
bool VideoStream::runNewFrameThread() {
  const int32_t status = m_newFrameEvent->wait(kTickMs);
  if (status == kEventTimeout) return true;
  if (status != kEventSignaled || !b_NewFrameThreadStarted.load()) return false;
  m_newFrameSignal.emit(this);
  return true;
}

bool VideoStream::runCallBackThread() {
  const int32_t status = m_callBackEvent->wait(kTickMs);
  if (status == kEventTimeout) return true;
  if (status != kEventSignaled) return false;
  if (!b_CallBackThreadStarted.load()) {
    logMessage(kLogMilestone, "stop NewCallFrameBackProcess Thread succeed!");
    return false;
  }
  FrameRefPtr frame;
  if (getFrame(frame, true) != 0) return true;
  StreamFrameCallback callback;
  void* user;
  {
    ScopedLock lock(m_queueLock);
    callback = m_frameCallBack;
    user = m_callBackUserData;
  }
  if (callback != nullptr) {
    // The application's reference, given back by releaseFrame; ours ends with
    // the local pointer.
    frame->addRef();
    callback(this, frame.get(), user);
  }
  return true;
}

}  // namespace sarvik
