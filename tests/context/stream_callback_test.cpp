// Frames by callback: setting, replacing and losing the callback across a
// stop, reading frames from inside one, and the calls a callback may not make
// on its own stream because they would wait for the callback's own thread.
#include <atomic>

#include "context/stream_test_support.h"

namespace sarvik_test {
namespace {

using StreamCallback = StreamTest;

// What the frame callbacks below saw. Each gives its frame back.
struct Received {
  SarvikBaseContext* context = nullptr;
  std::atomic<int> byFirst{0};
  std::atomic<int> bySecond{0};
  std::atomic<sarvik::VideoStream*> stream{nullptr};
  std::atomic<uint32_t> type{0};

  explicit Received(SarvikBaseContext* c) : context(c) {}
  int frames() const { return byFirst.load() + bySecond.load(); }
};

void takeFrame(Received* received, sarvik::VideoStream* stream, typedefSarvikFrame* frame) {
  received->stream = stream;
  received->type = frame->streamType;
  received->context->releaseFrame(frame);
}

void firstCallback(sarvik::VideoStream* stream, typedefSarvikFrame* frame, void* user) {
  auto* received = static_cast<Received*>(user);
  takeFrame(received, stream, frame);
  ++received->byFirst;
}

void secondCallback(sarvik::VideoStream* stream, typedefSarvikFrame* frame, void* user) {
  auto* received = static_cast<Received*>(user);
  takeFrame(received, stream, frame);
  ++received->bySecond;
}

TEST_F(StreamCallback, FramesReachACallbackSetBeforeOrAfterTheStart) {
  startCameras();
  Received before(ctx());
  sarvik::VideoStream* early = openStream(usbCamera(), SARVIK_STREAM_DEPTH, firstCallback, &before);
  EXPECT_TRUE(logged(4, "Set stream callback."));
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(waitUntil([&] { return before.frames() == 1; }));
  EXPECT_EQ(early, before.stream.load());
  EXPECT_EQ(SARVIK_STREAM_DEPTH, before.type.load());

  Received after(ctx());
  sarvik::VideoStream* late = openStream(usbCamera(), SARVIK_STREAM_COLOR);
  ASSERT_EQ(0, ctx()->setFrameCallback(late, firstCallback, &after));
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_COLOR));
  ASSERT_TRUE(waitUntil([&] { return after.frames() == 1; }));
  EXPECT_EQ(late, after.stream.load());
  EXPECT_EQ(SARVIK_STREAM_COLOR, after.type.load());
}

// Only setFrameCallback starts the callback's thread: after a stop and a
// start the callback stays silent and the frames wait in the queue.
TEST_F(StreamCallback, AfterStopAndStartOnlyANewSetterBringsTheCallbackBack) {
  startCameras();
  Received received(ctx());
  sarvik::VideoStream* stream = openStream(netCamera(), SARVIK_STREAM_IR, firstCallback, &received);
  ASSERT_EQ(0, net().deliverFrame(SARVIK_STREAM_IR));
  ASSERT_TRUE(waitUntil([&] { return received.frames() == 1; }));

  ASSERT_EQ(0, stopStream(stream));
  ASSERT_EQ(0, startStream(stream));
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(0, net().deliverFrame(SARVIK_STREAM_IR));
    typedefSarvikFrame* frame = nullptr;
    ASSERT_EQ(0, ctx()->readFrame(stream, &frame, 0)) << "frame " << i << " is still queued";
    EXPECT_EQ(0, ctx()->releaseFrame(frame));
  }
  EXPECT_EQ(1, received.frames());

  ASSERT_EQ(0, ctx()->setFrameCallback(stream, firstCallback, &received));
  ASSERT_EQ(0, net().deliverFrame(SARVIK_STREAM_IR));
  EXPECT_TRUE(waitUntil([&] { return received.frames() == 2; }));
}

TEST_F(StreamCallback, ASecondSetterReplacesFunctionAndUserData) {
  startCameras();
  Received first(ctx());
  Received second(ctx());
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH, firstCallback, &first);
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(waitUntil([&] { return first.frames() == 1; }));

  ASSERT_EQ(0, ctx()->setFrameCallback(stream, secondCallback, &second));
  for (int i = 1; i <= 3; ++i) {
    ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
    ASSERT_TRUE(waitUntil([&] { return second.frames() == i; })) << "frame " << i;
  }
  EXPECT_EQ(3, second.bySecond.load());
  EXPECT_EQ(0, second.byFirst.load());
  EXPECT_EQ(1, first.frames());
}

// A callback that reads another stream, waiting for its frame, and its own
// stream, where the callback thread has taken the frame already.
struct Reader {
  SarvikBaseContext* context = nullptr;
  sarvik::VideoStream* other = nullptr;
  std::atomic<bool> entered{false};
  std::atomic<bool> finished{false};
  std::atomic<int32_t> otherStatus{1};
  std::atomic<int32_t> ownStatus{1};
  std::atomic<uint32_t> otherType{0};
};

void readingCallback(sarvik::VideoStream* stream, typedefSarvikFrame* frame, void* user) {
  auto* reader = static_cast<Reader*>(user);
  reader->context->releaseFrame(frame);
  if (reader->entered.exchange(true)) return;
  typedefSarvikFrame* read = nullptr;
  reader->otherStatus = reader->context->readFrame(reader->other, &read, 20000);
  if (read != nullptr) {
    reader->otherType = read->streamType;
    reader->context->releaseFrame(read);
  }
  read = nullptr;
  reader->ownStatus = reader->context->readFrame(stream, &read, 0);
  if (read != nullptr) reader->context->releaseFrame(read);
  reader->finished = true;
}

TEST_F(StreamCallback, ACallbackMayReadFrames) {
  startCameras();
  Reader reader;
  reader.context = ctx();
  reader.other = openStream(netCamera(), SARVIK_STREAM_COLOR);
  openStream(usbCamera(), SARVIK_STREAM_DEPTH, readingCallback, &reader);

  const size_t checks = connectionChecks(net());
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(waitUntil([&] { return reader.entered.load(); }));
  ASSERT_TRUE(sliceBegins(net(), checks)) << "the callback waits for the other stream";
  ASSERT_EQ(0, net().deliverFrame(SARVIK_STREAM_COLOR));

  ASSERT_TRUE(waitUntil([&] { return reader.finished.load(); }, 15.0));
  EXPECT_EQ(0, reader.otherStatus.load());
  EXPECT_EQ(SARVIK_STREAM_COLOR, reader.otherType.load());
  EXPECT_EQ(-11, reader.ownStatus.load());
}

// The callback sits in readFrame on its own stream, holding the stream lock,
// while another thread destroys that stream: the destruction stops the stream
// first, the read sees its stream gone at the next slice, and both end.
struct OwnReader {
  SarvikBaseContext* context = nullptr;
  std::atomic<bool> entered{false};
  std::atomic<int32_t> status{1};
};

void readOwnStreamCallback(sarvik::VideoStream* stream, typedefSarvikFrame* frame, void* user) {
  auto* reader = static_cast<OwnReader*>(user);
  reader->context->releaseFrame(frame);
  if (reader->entered.exchange(true)) return;
  typedefSarvikFrame* read = nullptr;
  reader->status = reader->context->readFrame(stream, &read, 5000);
  if (read != nullptr) reader->context->releaseFrame(read);
}

TEST_F(StreamCallback, DestroyingAStreamWhoseCallbackIsReadingEndsBoth) {
  startCameras();
  OwnReader reader;
  reader.context = ctx();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH, readOwnStreamCallback, &reader);
  const size_t checks = connectionChecks(uvc());
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(waitUntil([&] { return reader.entered.load(); }));
  ASSERT_TRUE(sliceBegins(uvc(), checks));

  BackgroundCall destroy([&] { return destroyStream(stream); });
  EXPECT_TRUE(destroy.finishesWithin(15.0));
  EXPECT_EQ(0, destroy.result());
  EXPECT_EQ(-13, reader.status.load());
}

// Each of these would join the thread the callback runs on.
struct SelfStopper {
  SarvikBaseContext* context = nullptr;
  sarvik::Device* device = nullptr;
  std::atomic<int> calls{0};
  int32_t stop = 1, close = 1, destroy = 1, closeDevice = 1, shutdown = 1;
  std::atomic<bool> done{false};
};

void selfStoppingCallback(sarvik::VideoStream* stream, typedefSarvikFrame* frame, void* user) {
  auto* stopper = static_cast<SelfStopper*>(user);
  stopper->context->releaseFrame(frame);
  if (stopper->calls++ != 0) return;
  stopper->stop = stopStreamStep(stopper->context, stream);
  stopper->close = stopper->context->closeStream(stream);
  stopper->destroy = destroyStreamStep(stopper->context, stream);
  stopper->closeDevice = stopper->context->closeDevice(stopper->device);
  stopper->shutdown = stopper->context->shutdown();
  stopper->done = true;
}

TEST_F(StreamCallback, ACallbackCannotEndItsOwnStreamDeviceOrContext) {
  startCameras();
  SelfStopper stopper;
  stopper.context = ctx();
  stopper.device = usbCamera();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH, selfStoppingCallback, &stopper);
  log().clear();
  uvc().clearCalls();
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(waitUntil([&] { return stopper.done.load(); }, 15.0));

  EXPECT_EQ(-1, stopper.stop);
  EXPECT_EQ(-1, stopper.close);
  EXPECT_EQ(-1, stopper.destroy);
  EXPECT_EQ(-1, stopper.closeDevice);
  EXPECT_EQ(-1, stopper.shutdown);
  EXPECT_EQ(5u, loggedCount(2, kOwnThreadRefusal));
  EXPECT_FALSE(has(uvc().calls(), "stop(2)"));

  // Nothing changed: the stream still delivers, and the application can end it.
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  EXPECT_TRUE(waitUntil([&] { return stopper.calls.load() == 2; }));
  EXPECT_EQ(0, ctx()->closeStream(stream));
  EXPECT_EQ(0, ctx()->closeDevice(usbCamera()));
}

}  // namespace
}  // namespace sarvik_test
