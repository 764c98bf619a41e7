// VideoStream: the depth-1 queue, the two ways a frame is handed on, and the
// multi-stream listener that wakes a waiting thread.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "camera_fixture.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "pipeline/multi_streams_listener.h"
#include "platform/event_wrapper.h"
#include "platform/wait_until.h"
#include "pool_probe.h"

namespace sarvik {
namespace {

using sarvik_test::allFramesHome;
using sarvik_test::CameraTest;
using sarvik_test::waitUntil;

constexpr uint32_t kDepth = SARVIK_STREAM_DEPTH;
constexpr uint32_t kWaitMs = 10000;

// Keeps every frame the application's callback receives, with its reference.
struct CallbackSink {
  static void onFrame(VideoStream* stream, typedefSarvikFrame* frame, void* user) {
    CallbackSink* sink = static_cast<CallbackSink*>(user);
    std::lock_guard<std::mutex> guard(sink->lock);
    sink->frames.push_back(frame);
    sink->onOwnThread = sink->onOwnThread && stream->isOwnThread();
    sink->count.fetch_add(1);
  }
  ~CallbackSink() { releaseAll(); }
  void releaseAll() {
    std::lock_guard<std::mutex> guard(lock);
    for (typedefSarvikFrame* frame : frames) SarvikFrameRef::fromRecord(frame)->release();
    frames.clear();
  }
  uint64_t lastStamp() {
    std::lock_guard<std::mutex> guard(lock);
    return frames.empty() ? 0 : frames.back()->frameStamp;
  }

  std::mutex lock;
  std::vector<typedefSarvikFrame*> frames;
  std::atomic<int> count{0};
  bool onOwnThread = true;
};

class VideoStreamTest : public CameraTest {
 protected:
  void SetUp() override {
    CameraTest::SetUp();
    m_stream = makeStream(kDepth);
    ASSERT_NE(m_stream, nullptr);
  }
  sarvik_test::FakeStream& source() { return cameraStream(kDepth); }

  VideoStream* m_stream = nullptr;
};

TEST_F(VideoStreamTest, NewestFrameWinsAndTheDroppedOneReturnsAtOnce) {
  ASSERT_EQ(m_stream->start(), 0);
  source().deliver(1);
  source().deliver(2);
  EXPECT_EQ(m_stream->m_frameQueue.size(), 1u);
  EXPECT_EQ(sarvik_test::poolState(pool(m_stream)).used, 1u);
  FrameRefPtr held;
  ASSERT_EQ(m_stream->getFrame(held, true), 0);
  EXPECT_EQ(held->frameStamp, 2u);

  // stop() releases the queued frame but not the one the application holds.
  source().deliver(3);
  m_stream->stop();
  EXPECT_TRUE(m_stream->m_frameQueue.empty());
  EXPECT_EQ(sarvik_test::poolState(pool(m_stream)).used, 1u);
  EXPECT_EQ(held->frameStamp, 2u);
}

TEST_F(VideoStreamTest, GetFrameResults) {
  FrameRefPtr frame;
  EXPECT_EQ(m_stream->getFrame(frame, true), -2);
  EXPECT_TRUE(m_log.contains(2, "Stream Not Stared"));
  m_stream->start();
  EXPECT_EQ(m_stream->getFrame(frame, true), -5);
  EXPECT_FALSE(frame);

  source().deliver(4);
  ASSERT_EQ(m_stream->getFrame(frame, false), 0);
  FrameRefPtr again;
  ASSERT_EQ(m_stream->getFrame(again, true), 0) << "a peek leaves the frame queued";
  EXPECT_EQ(again.get(), frame.get());
  EXPECT_EQ(m_stream->getFrame(again, true), -5);
}

TEST_F(VideoStreamTest, GetFrameWaitResults) {
  FrameRefPtr frame;
  EXPECT_EQ(m_stream->getFrameWait(frame), -2);
  m_stream->start();
  setLastErrorCode(0);
  EXPECT_EQ(m_stream->getFrameWait(frame), -1);
  EXPECT_EQ(*lastErrorCell(), kErrPeekTimeout);
  EXPECT_FALSE(frame);
  source().deliver(6);
  ASSERT_EQ(m_stream->getFrameWait(frame), 0);
  EXPECT_EQ(frame->frameStamp, 6u);
  EXPECT_EQ(m_stream->m_frameQueue.size(), 1u) << "a peek leaves the frame queued";
}

TEST_F(VideoStreamTest, GetFrameWaitTakesAFrameThatArrivesWhileItWaits) {
  m_stream->start();
  // Delivered until the waiter has its frame: the "Stream Thread" may take
  // the event of any single frame first.
  std::atomic<bool> done{false};
  std::thread camera([&] {
    while (!done.load()) {
      source().deliver();
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  FrameRefPtr frame;
  int32_t status = -1;
  for (int i = 0; i < 10 && status != 0; ++i) status = m_stream->getFrameWait(frame);
  done.store(true);
  camera.join();
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(frame);
}

TEST_F(VideoStreamTest, CallbackGetsEachFrameWithAReferenceAndCanBeReplaced) {
  CallbackSink first;
  CallbackSink second;
  m_stream->setFrameCallback(&CallbackSink::onFrame, &first);
  m_stream->start();
  source().deliver(11);
  ASSERT_TRUE(waitUntil([&] { return first.count.load() == 1; }));
  EXPECT_EQ(first.lastStamp(), 11u);
  EXPECT_TRUE(first.onOwnThread);
  EXPECT_FALSE(m_stream->isOwnThread());
  EXPECT_TRUE(m_stream->m_frameQueue.empty());
  first.releaseAll();
  // "Stream CallBack" drops its own reference only after the callback has
  // returned: wait for that rather than read the pool at once.
  EXPECT_TRUE(waitUntil([&] { return allFramesHome(pool(m_stream)); }));

  m_stream->setFrameCallback(&CallbackSink::onFrame, &second);
  source().deliver(2);
  ASSERT_TRUE(waitUntil([&] { return second.count.load() == 1; }));
  EXPECT_EQ(first.count.load(), 1);
  EXPECT_EQ(second.lastStamp(), 2u);
}

// stop() ends "Stream CallBack" and start() does not bring it back: frames
// then wait in the queue until setFrameCallback starts the thread again.
TEST_F(VideoStreamTest, CallbackThreadNeedsANewSetAfterStopAndStart) {
  CallbackSink sink;
  m_stream->setFrameCallback(&CallbackSink::onFrame, &sink);
  m_stream->start();
  m_stream->stop();
  m_stream->start();
  source().deliver(21);
  sarvik_test::allowTimeToMisbehave();
  EXPECT_EQ(sink.count.load(), 0);
  FrameRefPtr frame;
  ASSERT_EQ(m_stream->getFrame(frame, false), 0);
  EXPECT_EQ(frame->frameStamp, 21u);
  frame.reset();

  m_stream->setFrameCallback(&CallbackSink::onFrame, &sink);
  ASSERT_TRUE(waitUntil([&] { return sink.count.load() == 1; }));
  EXPECT_EQ(sink.lastStamp(), 21u);
}

// The record the application holds stays valid through the end of its
// stream and of its device; its last release deletes it.
TEST_F(VideoStreamTest, HeldFrameOutlivesItsStreamAndDevice) {
  CallbackSink sink;
  m_stream->setFrameCallback(&CallbackSink::onFrame, &sink);
  m_stream->start();
  source().deliver(41);
  ASSERT_TRUE(waitUntil([&] { return sink.count.load() == 1; }));
  m_streams.clear();
  m_device->close();
  m_device.reset(new Device(&m_driver));

  typedefSarvikFrame* record = sink.frames.at(0);
  uint64_t stamp = 0;
  std::memcpy(&stamp, record->data, sizeof(stamp));
  EXPECT_EQ(stamp, 41u);
  EXPECT_EQ(record->frameStamp, 41u);
  sink.releaseAll();
}

class ListenerTest : public VideoStreamTest {
 protected:
  void SetUp() override {
    VideoStreamTest::SetUp();
    m_other = makeStream(kDepth);
    m_stream->start();
    m_other->start();
  }
  VideoStream* m_other = nullptr;
};

// A control listener connected after the one under test hears the same
// emission later, so once it has woken the first one would have too.
TEST_F(ListenerTest, DetachedListenerHearsNothingEvenWhenAStreamWasNamedTwice) {
  MultiStreamsListener listener;
  MultiStreamsListener control;
  VideoStream* streams[2] = {m_stream, m_stream};
  listener.attachStreams(streams, 2);
  listener.disconnect_all();
  control.attachStreams(streams, 1);
  source().deliver();
  ASSERT_EQ(control.m_event->wait(kWaitMs), kEventSignaled);
  EXPECT_EQ(control.m_readyStream.load(), m_stream);
  EXPECT_EQ(listener.m_event->wait(0), kEventTimeout);
  EXPECT_EQ(listener.m_readyStream.load(), nullptr);
  control.disconnect_all();
}

// The sanitizers see the listener's destructor touch the dead signal if the
// stream failed to let go of it.
TEST_F(ListenerTest, StreamDestroyedFirstLeavesItsListenerSafeToDestroy) {
  MultiStreamsListener* listener = new MultiStreamsListener();
  listener->attachStreams(&m_other, 1);
  destroy(m_other);
  delete listener;
}

}  // namespace
}  // namespace sarvik
