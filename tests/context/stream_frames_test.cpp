// Reading frames: the two looks of readFrame around its wait, time-outs, and
// the application's reference, which outlives stream and device and always
// finds its way back to the pool.
#include <cstring>
#include <vector>

#include "context/stream_test_support.h"
#include "sarvik/SarvikFrame.h"

namespace sarvik_test {
namespace {

using StreamFrames = StreamTest;

typedefSarvikFrame* const kUnwritten = reinterpret_cast<typedefSarvikFrame*>(uintptr_t{0x100});

// What the application saw of a frame, to compare it with later.
struct FrameCopy {
  typedefSarvikFrame record;
  std::vector<uint8_t> bytes;

  explicit FrameCopy(const typedefSarvikFrame* frame)
      : record(*frame),
        bytes(static_cast<const uint8_t*>(frame->data), static_cast<const uint8_t*>(frame->data) + frame->dataSize) {}

  bool sameAs(const typedefSarvikFrame* frame) const {
    return std::memcmp(&record, frame, sizeof(record)) == 0 &&
           std::memcmp(bytes.data(), frame->data, bytes.size()) == 0;
  }
};

TEST_F(StreamFrames, AQueuedFrameIsReadAtOnceWithoutWaiting) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH);  // no callback
  log().clear();

  for (uint32_t timeout : {0u, 5000u}) {
    ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
    uvc().clearCalls();
    typedefSarvikFrame* frame = nullptr;
    ASSERT_EQ(0, ctx()->readFrame(stream, &frame, timeout)) << timeout;
    ASSERT_NE(nullptr, frame);
    EXPECT_EQ(SARVIK_STREAM_DEPTH, frame->streamType);
    EXPECT_EQ(0u, connectionChecks(uvc())) << "no wait for timeout " << timeout;
    EXPECT_EQ(0, ctx()->releaseFrame(frame));
  }
  EXPECT_EQ(0u, listenersMade()) << "the first look needs no listener";
}

TEST_F(StreamFrames, AFrameDeliveredDuringTheWaitIsRead) {
  startCameras();
  sarvik::VideoStream* stream = openStream(netCamera(), SARVIK_STREAM_IR);
  typedefSarvikFrame* frame = nullptr;
  const size_t checks = connectionChecks(net());
  BackgroundCall read([&] { return ctx()->readFrame(stream, &frame, 20000); });
  ASSERT_TRUE(sliceBegins(net(), checks));
  ASSERT_EQ(0, net().deliverFrame(SARVIK_STREAM_IR));

  ASSERT_TRUE(read.finishesWithin(15.0));
  ASSERT_EQ(0, read.result());
  ASSERT_NE(nullptr, frame);
  EXPECT_EQ(SARVIK_STREAM_IR, frame->streamType);
  EXPECT_EQ(0, ctx()->releaseFrame(frame));
}

TEST_F(StreamFrames, ATimeOutGivesMinus11AndNoFrame) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_COLOR);
  clearLastError();
  typedefSarvikFrame* frame = kUnwritten;
  EXPECT_EQ(-11, ctx()->readFrame(stream, &frame, 30));
  EXPECT_EQ(nullptr, frame);
  EXPECT_EQ(0u, lastError()) << "the wait's time-out sets no code";
}

TEST_F(StreamFrames, AStreamThatIsNotStartedTimesOut) {
  startCameras();
  sarvik::VideoStream* stream = nullptr;
  ASSERT_EQ(0, createStream(usbCamera(), SARVIK_STREAM_DEPTH, &stream));
  uvc().deliverFrame(SARVIK_STREAM_DEPTH);  // nothing is started to take it
  typedefSarvikFrame* frame = kUnwritten;
  EXPECT_EQ(-11, ctx()->readFrame(stream, &frame, 30));
  EXPECT_EQ(nullptr, frame);
  EXPECT_TRUE(logged(2, "Stream Not Stared"));
  EXPECT_EQ(0, destroyStream(stream));
}

TEST_F(StreamFrames, AFrameOutlivesStopCloseAndCloseDeviceUntilReleased) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  typedefSarvikFrame* frame = nullptr;
  ASSERT_EQ(0, ctx()->readFrame(stream, &frame, 0));
  ASSERT_NE(nullptr, frame);
  ASSERT_GT(frame->dataSize, 0u);
  const FrameCopy seen(frame);

  ASSERT_EQ(0, stopStream(stream));
  EXPECT_TRUE(seen.sameAs(frame));
  ASSERT_EQ(0, ctx()->closeStream(stream));
  EXPECT_TRUE(seen.sameAs(frame));
  ASSERT_EQ(0, ctx()->closeDevice(usbCamera()));
  EXPECT_TRUE(seen.sameAs(frame));
  EXPECT_EQ(0, ctx()->releaseFrame(frame));
}

// Releasing null has no meaning of its own; it is refused like any missing
// argument rather than called through.
TEST_F(StreamFrames, NullArgumentsAreRefused) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  clearLastError();
  EXPECT_EQ(-4, ctx()->releaseFrame(nullptr));
  EXPECT_EQ(kErrBadArgument, lastError());

  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  clearLastError();
  EXPECT_EQ(-4, ctx()->readFrame(stream, nullptr, 0));
  EXPECT_EQ(kErrBadArgument, lastError());
  typedefSarvikFrame* frame = nullptr;
  EXPECT_EQ(0, ctx()->readFrame(stream, &frame, 0)) << "the refused read took nothing";
  EXPECT_EQ(0, ctx()->releaseFrame(frame));
}

TEST_F(StreamFrames, ReleaseAfterShutdownIsRefusedAndTheFrameStaysOut) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  typedefSarvikFrame* frame = nullptr;
  ASSERT_EQ(0, ctx()->readFrame(stream, &frame, 0));
  const FrameCopy seen(frame);
  ASSERT_EQ(0, ctx()->shutdown());

  clearLastError();
  EXPECT_EQ(-2, ctx()->releaseFrame(frame));
  EXPECT_EQ(kErrNotInitialized, lastError());
  EXPECT_TRUE(logged(3, "not Initialized! "));
  EXPECT_TRUE(seen.sameAs(frame)) << "the refused release kept the reference";
  // The application's reference, given back by hand: the frame lost its pool
  // with its device and ends with this.
  sarvik::SarvikFrameRef::fromRecord(frame)->release();
}

// One reference per record handed out, no more and no fewer: a leak would
// drain the pool of ten, an extra release would recycle a frame still held.
TEST_F(StreamFrames, EveryFrameGoesBackToThePoolAndAHeldOneIsNotReused) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  typedefSarvikFrame* held = nullptr;
  ASSERT_EQ(0, ctx()->readFrame(stream, &held, 0));
  const FrameCopy seen(held);

  for (int i = 0; i < 40; ++i) {
    ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH)) << "frame " << i;
    typedefSarvikFrame* frame = nullptr;
    ASSERT_EQ(0, ctx()->readFrame(stream, &frame, 0)) << "frame " << i;
    ASSERT_NE(held, frame) << "a held frame was handed out again";
    ASSERT_EQ(0, ctx()->releaseFrame(frame));
  }
  EXPECT_TRUE(seen.sameAs(held));
  EXPECT_FALSE(logged(3, "no available Frame!!!"));
  EXPECT_EQ(0, ctx()->releaseFrame(held));
}

// readFrame holds the stream lock through its wait; the slice checks let a
// close end an unlimited read within a slice instead of waiting for a frame.
TEST_F(StreamFrames, AnUnlimitedReadDoesNotHoldUpClosingItsStream) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_COLOR);
  typedefSarvikFrame* frame = kUnwritten;
  const size_t checks = connectionChecks(uvc());
  BackgroundCall read([&] { return ctx()->readFrame(stream, &frame, 0xFFFFFFFFu); });
  EXPECT_TRUE(sliceBegins(uvc(), checks));

  BackgroundCall close([&] { return ctx()->closeStream(stream); });
  const bool closed = close.finishesWithin(15.0);
  EXPECT_TRUE(closed);
  if (!closed) ctx()->shutdown();  // ends the read, so that the threads can be joined
  EXPECT_EQ(-13, read.result());
  EXPECT_EQ(nullptr, frame);
  EXPECT_EQ(0, close.result());
}

struct FrameCount {
  SarvikBaseContext* context = nullptr;
  std::atomic<int> frames{0};
  std::atomic<int> wrongSize{0};
};

void countFrame(sarvik::VideoStream*, typedefSarvikFrame* frame, void* user) {
  auto* count = static_cast<FrameCount*>(user);
  if (frame == nullptr || frame->dataSize != 16 * 8 * 2) ++count->wrongSize;
  ++count->frames;
  if (frame != nullptr) count->context->releaseFrame(frame);
}

// A plug-in that hands over no frame, or one claiming more bytes than its
// buffer holds, reaches neither a reader nor a callback.
TEST_F(StreamFrames, NullAndOversizedFramesFromThePluginAreNotPassedOn) {
  startCameras();
  sarvik::VideoStream* read = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  FrameCount count;
  count.context = ctx();
  openStream(usbCamera(), SARVIK_STREAM_COLOR, countFrame, &count);
  for (FrameFault fault : {FrameFault::kNullFrame, FrameFault::kOversized}) {
    SCOPED_TRACE(static_cast<int>(fault));
    uvc().setFrameFault(fault);
    EXPECT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
    EXPECT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_COLOR));
    typedefSarvikFrame* frame = kUnwritten;
    EXPECT_EQ(-11, ctx()->readFrame(read, &frame, 30));
  }
  uvc().setFrameFault(FrameFault::kNone);
  EXPECT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_COLOR));
  EXPECT_TRUE(waitUntil([&] { return count.frames.load() >= 1; }));
  EXPECT_EQ(1, count.frames.load());
  EXPECT_EQ(0, count.wrongSize.load());
  EXPECT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  typedefSarvikFrame* frame = nullptr;
  ASSERT_EQ(0, ctx()->readFrame(read, &frame, 5000));
  EXPECT_EQ(16u * 8u * 2u, frame->dataSize);
  EXPECT_EQ(0, ctx()->releaseFrame(frame));
}

}  // namespace
}  // namespace sarvik_test
