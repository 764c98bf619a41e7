// Waiting on several streams: the refusals, the per-slice checks of the
// devices, the listener of each thread, and how a time-out is cut into slices
// of at most one second. Slices are counted by the connection checks the
// plug-in sees, one at the start of each, never by the clock.
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "context/stream_test_support.h"

namespace sarvik_test {
namespace {

using StreamWait = StreamTest;

sarvik::VideoStream* const kBogusStream = reinterpret_cast<sarvik::VideoStream*>(uintptr_t{0x80});

TEST_F(StreamWait, BadCountsAndHandlesAreRefusedBeforeAnythingIsAttached) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  sarvik::VideoStream* ready = kBogusStream;

  for (int32_t count : {0, -1, -100}) {
    log().clear();
    clearLastError();
    sarvik::VideoStream* streams[1] = {kBogusStream};  // not looked at
    EXPECT_EQ(-4, ctx()->waitForStreams(streams, count, &ready, 0)) << count;
    EXPECT_EQ(kErrBadArgument, lastError()) << count;
    EXPECT_EQ(0u, log().recordCount()) << count;
  }
  clearLastError();
  EXPECT_EQ(-4, ctx()->waitForStreams(nullptr, 1, &ready, 0));
  EXPECT_EQ(kErrBadArgument, lastError());

  uvc().clearCalls();
  log().clear();
  sarvik::VideoStream* withNull[2] = {stream, nullptr};
  sarvik::VideoStream* withUnknown[2] = {stream, kBogusStream};
  for (sarvik::VideoStream** streams : {withNull, withUnknown}) {
    clearLastError();
    EXPECT_EQ(-13, ctx()->waitForStreams(streams, 2, &ready, 0));
    EXPECT_EQ(kErrInvalidStream, lastError());
  }
  EXPECT_EQ(2u, loggedCount(3, "Stream Handle is Valid!"));
  EXPECT_EQ(0u, listenersMade()) << "no listener exists, so none was attached";
  EXPECT_TRUE(uvc().calls().empty()) << uvc().calls().front();
  EXPECT_EQ(kBogusStream, ready);
}

TEST_F(StreamWait, ADeviceThatIsNotConnectedEndsTheWaitAtOnce) {
  startCameras();
  sarvik::VideoStream* streams[1] = {openStream(usbCamera(), SARVIK_STREAM_DEPTH)};
  for (uint32_t state : {1u, 2u}) {
    uvc().setConnectionState(state);
    clearLastError();
    EXPECT_EQ(-9, ctx()->waitForStreams(streams, 1, nullptr, 0)) << state;
    EXPECT_EQ(0u, lastError()) << state;
  }
  uvc().setConnectionState(0);
  uvc().setStreamReady(false);
  EXPECT_EQ(-10, ctx()->waitForStreams(streams, 1, nullptr, 0));
  EXPECT_EQ(0u, lastError());
  uvc().setStreamReady(true);
  EXPECT_EQ(-11, ctx()->waitForStreams(streams, 1, nullptr, 0));
  EXPECT_EQ(-11, ctx()->waitForStreams(streams, 1, nullptr, 20));
  EXPECT_EQ(0u, lastError());
}

TEST_F(StreamWait, AFrameDuringTheWaitNamesItsStream) {
  startCameras();
  sarvik::VideoStream* streams[2] = {openStream(usbCamera(), SARVIK_STREAM_DEPTH),
                                     openStream(netCamera(), SARVIK_STREAM_COLOR)};
  sarvik::VideoStream* ready = nullptr;
  size_t checks = connectionChecks(uvc());
  BackgroundCall named([&] { return ctx()->waitForStreams(streams, 2, &ready, 20000); });
  ASSERT_TRUE(sliceBegins(uvc(), checks));
  ASSERT_EQ(0, net().deliverFrame(SARVIK_STREAM_COLOR));
  ASSERT_TRUE(named.finishesWithin(15.0));
  EXPECT_EQ(0, named.result());
  EXPECT_EQ(streams[1], ready);

  // Without a place for the stream the result alone tells.
  checks = connectionChecks(uvc());
  BackgroundCall unnamed([&] { return ctx()->waitForStreams(streams, 2, nullptr, 20000); });
  ASSERT_TRUE(sliceBegins(uvc(), checks));
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(unnamed.finishesWithin(15.0));
  EXPECT_EQ(0, unnamed.result());
}

TEST_F(StreamWait, EachThreadHasOneListenerForAllItsWaits) {
  startCameras();
  sarvik::VideoStream* streams[1] = {openStream(usbCamera(), SARVIK_STREAM_DEPTH)};
  log().clear();
  EXPECT_EQ(-11, ctx()->waitForStreams(streams, 1, nullptr, 0));
  EXPECT_EQ(-11, ctx()->waitForStreams(streams, 1, nullptr, 0));
  EXPECT_EQ(1u, listenersMade());
  const std::string mine = "StramListener ThradID = " + std::to_string(static_cast<int>(syscall(SYS_gettid)));
  EXPECT_TRUE(logged(4, mine));

  BackgroundCall other([&] { return ctx()->waitForStreams(streams, 1, nullptr, 0); });
  EXPECT_EQ(-11, other.result());
  EXPECT_EQ(2u, listenersMade());
}

// A stream named twice is connected twice; both connections go when the wait
// ends. The frame below reaches every listener still connected before it
// wakes the second thread, so a leftover connection would have set the
// first thread's event by then.
TEST_F(StreamWait, BetweenWaitsAListenerHearsNothing) {
  startCameras();
  sarvik::VideoStream* stream = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  sarvik::VideoStream* twice[2] = {stream, stream};
  EXPECT_EQ(-11, ctx()->waitForStreams(twice, 2, nullptr, 0));

  sarvik::VideoStream* once[1] = {stream};
  const size_t checks = connectionChecks(uvc());
  BackgroundCall other([&] { return ctx()->waitForStreams(once, 1, nullptr, 20000); });
  ASSERT_TRUE(sliceBegins(uvc(), checks));
  ASSERT_EQ(0, uvc().deliverFrame(SARVIK_STREAM_DEPTH));
  ASSERT_TRUE(other.finishesWithin(15.0));
  ASSERT_EQ(0, other.result());

  EXPECT_EQ(-11, ctx()->waitForStreams(once, 1, nullptr, 0));
}

// Listeners end with shutdown; a context started again makes new ones, under
// a listener lock that lives as long as the context object.
TEST_F(StreamWait, ARestartedContextWaitsWithNewListeners) {
  startCameras();
  sarvik::VideoStream* streams[1] = {openStream(usbCamera(), SARVIK_STREAM_DEPTH)};
  log().clear();
  EXPECT_EQ(-11, ctx()->waitForStreams(streams, 1, nullptr, 0));
  ASSERT_EQ(0, ctx()->shutdown());

  ASSERT_EQ(0, ctx()->initialize());
  streams[0] = openStream(open("usb://0"), SARVIK_STREAM_DEPTH);
  EXPECT_EQ(-11, ctx()->waitForStreams(streams, 1, nullptr, 0));
  EXPECT_EQ(2u, listenersMade()) << "the same thread, a new listener";
}

// Connection and readiness each combine over the devices: any one connected
// and ready device lets the wait go on, wherever the failing one stands in
// the list. The USB camera is the one that keeps answering well.
TEST_F(StreamWait, OneConnectedAndReadyDeviceIsEnough) {
  startCameras();
  sarvik::VideoStream* usb = openStream(usbCamera(), SARVIK_STREAM_DEPTH);
  sarvik::VideoStream* network = openStream(netCamera(), SARVIK_STREAM_DEPTH);
  sarvik::VideoStream* failingFirst[2] = {network, usb};
  sarvik::VideoStream* failingLast[2] = {usb, network};
  const struct {
    const char* name;
    std::function<void(FakeDriverControl&, bool)> setFailing;
    int32_t allFail;
  } rows[] = {
      {"connection", [](FakeDriverControl& p, bool fail) { p.setConnectionState(fail ? 1 : 0); }, -9},
      {"readiness", [](FakeDriverControl& p, bool fail) { p.setStreamReady(!fail); }, -10},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    row.setFailing(net(), true);
    EXPECT_EQ(-11, ctx()->waitForStreams(failingFirst, 2, nullptr, 0));
    EXPECT_EQ(-11, ctx()->waitForStreams(failingLast, 2, nullptr, 0));
    row.setFailing(uvc(), true);
    EXPECT_EQ(row.allFail, ctx()->waitForStreams(failingFirst, 2, nullptr, 0));
    EXPECT_EQ(row.allFail, ctx()->waitForStreams(failingLast, 2, nullptr, 0));
    row.setFailing(net(), false);
    row.setFailing(uvc(), false);
  }
}

TEST_F(StreamWait, ATimeOutIsCutIntoSlicesOfAtMostOneSecond) {
  startCameras();
  sarvik::VideoStream* streams[1] = {openStream(usbCamera(), SARVIK_STREAM_DEPTH)};
  const struct {
    int32_t timeoutMs;
    size_t slices;
  } rows[] = {{0, 1}, {1, 1}, {1000, 1}, {1001, 2}, {2500, 3}};
  for (const auto& row : rows) {
    uvc().clearCalls();
    EXPECT_EQ(-11, ctx()->waitForStreams(streams, 1, nullptr, row.timeoutMs)) << row.timeoutMs;
    EXPECT_EQ(row.slices, connectionChecks(uvc())) << row.timeoutMs;
    EXPECT_EQ(row.slices, countOf(uvc().calls(), "isStreamReady")) << row.timeoutMs;
  }
}

// -1 is the one value without limit; -2 is 0xFFFFFFFE ms, a wait like any
// other. Both go on past their first slice and end at the next slice once
// the device has gone.
TEST_F(StreamWait, LongWaitsEndWithinASliceOfTheDeviceGoing) {
  startCameras();
  sarvik::VideoStream* streams[1] = {openStream(usbCamera(), SARVIK_STREAM_DEPTH)};
  for (int32_t timeoutMs : {-1, -2}) {
    SCOPED_TRACE(timeoutMs);
    uvc().setConnectionState(0);
    uvc().clearCalls();
    BackgroundCall wait([&] { return ctx()->waitForStreams(streams, 1, nullptr, timeoutMs); });
    EXPECT_TRUE(sliceBegins(uvc(), 1)) << "a second slice";
    const size_t checksBefore = connectionChecks(uvc());
    uvc().setConnectionState(1);
    const bool ended = wait.finishesWithin(15.0);
    EXPECT_TRUE(ended);
    if (!ended) ctx()->shutdown();  // ends the wait, so that its thread can be joined
    EXPECT_EQ(-9, wait.result());
    // The check already under way may have read the old state.
    EXPECT_LE(connectionChecks(uvc()), checksBefore + 2);
  }
}

TEST_F(StreamWait, AWaitWithoutLimitEndsWhenShutdownBegins) {
  startCameras();
  sarvik::VideoStream* streams[1] = {openStream(usbCamera(), SARVIK_STREAM_DEPTH)};
  uvc().clearCalls();
  BackgroundCall wait([&] { return ctx()->waitForStreams(streams, 1, nullptr, -1); });
  EXPECT_TRUE(sliceBegins(uvc(), 0));

  // shutdown waits for the wait to leave, which it does at its next slice.
  EXPECT_EQ(0, ctx()->shutdown());
  // The background thread marks itself done only after the wait came back
  // to it: wait for that, never read it at once.
  EXPECT_TRUE(wait.finishesWithin(60.0));
  EXPECT_EQ(-2, wait.result());
}

}  // namespace
}  // namespace sarvik_test
