// The buffer cycle of a V4L2 camera over the fake device: frames, short
// images, an unplug mid-stream, a busy node.
#include <errno.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <memory>

#include "fake_v4l2_device.h"
#include "plugins/v4l2/v4l2_backend.h"
#include "v4l2_test_support.h"

namespace {

using namespace v4l2test;

#ifdef SARVIK_HAVE_TURBOJPEG
constexpr size_t kYuyvFirst = 1;  // after the 1280x720 MJPG mode
#else
constexpr size_t kYuyvFirst = 0;
#endif

struct StreamRig {
  std::shared_ptr<FakeSystem> sys = std::make_shared<FakeSystem>();
  TestEvents events;
  std::unique_ptr<v4l2cam::V4l2Backend> backend;
  std::unique_ptr<sarvikhost::Camera> camera;
  explicit StreamRig(FakeScript script) {
    sys->add("/dev/video0", std::move(script));
    backend = std::make_unique<v4l2cam::V4l2Backend>(sys);
    backend->start(&events);
    sarvikhost::CameraInfo info;
    EXPECT_EQ(backend->open("/dev/video0", &camera, &info), 0);
  }
  ~StreamRig() {
    camera.reset();
    backend->stop();
  }
  const SarvikModeRecord& mode(uint32_t sensor, size_t index) { return camera->modes(sensor).at(index); }
};

TEST(V4l2Stream, YuyvFramesArriveConvertedAndTheBuffersAreReturned) {
  TestSink sink;
  StreamRig rig(webcamScript());
  ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_COLOR, rig.mode(SARVIK_STREAM_COLOR, kYuyvFirst + 2), &sink), 0);
  ASSERT_TRUE(sink.waitFor(30));
  rig.camera->stopSensor(SARVIK_STREAM_COLOR);
  std::vector<Delivered> frames = sink.frames();
  for (size_t i = 0; i < 30; ++i) {
    ASSERT_EQ(frames[i].pixelType, SARVIK_PIXEL_RGB24);
    ASSERT_EQ(frames[i].width, 1280u);
    ASSERT_EQ(frames[i].height, 720u);
    ASSERT_EQ(frames[i].dataSize, 1280u * 720u * 3u);
    // Luma 16 + n is grey (n * 255 / 219): frame n of the fake, in order.
    int grey = (76309 * static_cast<int>(i % 200) + 32768) >> 16;
    ASSERT_EQ(frames[i].head[0], grey) << "frame " << i;
    ASSERT_EQ(frames[i].head[1], grey);
  }
  EXPECT_EQ(sink.lostCount(), 0u);
  EXPECT_EQ(rig.sys->mapped(), 4u);
  EXPECT_EQ(rig.sys->unmapped(), 4u);
  EXPECT_TRUE(rig.events.lines().empty());
  size_t after = sink.frames().size();
  EXPECT_EQ(sink.frames().size(), after) << "nothing arrives after stop";

  // It starts again, in another sensor of the same node.
  TestSink depthSink;
  StreamRig depth(depthScript());
  ASSERT_EQ(depth.camera->startSensor(SARVIK_STREAM_DEPTH, depth.mode(SARVIK_STREAM_DEPTH, 0), &depthSink), 0);
  ASSERT_TRUE(depthSink.waitFor(5));
  depth.camera->stopSensor(SARVIK_STREAM_DEPTH);
  Delivered d = depthSink.frames()[0];
  EXPECT_EQ(d.pixelType, SARVIK_PIXEL_DEPTH16);
  EXPECT_EQ(d.dataSize, 640u * 480u * 2u);
  EXPECT_EQ(d.head[1], 1) << "Z16 bytes are copied as they are";
}

TEST(V4l2Stream, OneNodeStreamsOneSensorAtATime) {
  TestSink a, b;
  StreamRig rig(depthScript());
  ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_DEPTH, rig.mode(SARVIK_STREAM_DEPTH, 0), &a), 0);
  EXPECT_EQ(rig.camera->startSensor(SARVIK_STREAM_IR, rig.mode(SARVIK_STREAM_IR, 0), &b), kSarvikErrBusy);
  rig.camera->stopSensor(SARVIK_STREAM_IR);  // not running: nothing happens
  ASSERT_TRUE(a.waitFor(3));
  rig.camera->stopSensor(SARVIK_STREAM_DEPTH);
  ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_IR, rig.mode(SARVIK_STREAM_IR, 0), &b), 0);
  ASSERT_TRUE(b.waitFor(3));
  EXPECT_EQ(b.frames()[0].pixelType, SARVIK_PIXEL_GRAY8);
  // A mode that is not one of the camera's is refused.
  SarvikModeRecord other = rig.mode(SARVIK_STREAM_IR, 0);
  other.mode.modeValue1 = 123;
  rig.camera->stopSensor(SARVIK_STREAM_IR);
  EXPECT_EQ(rig.camera->startSensor(SARVIK_STREAM_IR, other, &b), kSarvikErrNotFound);
}

TEST(V4l2Stream, ShortImagesAreCountedLostWithOneLogLine) {
  TestSink sink;
  StreamRig rig(depthScript());
  rig.sys->setShortEvery("/dev/video0", 3);
  ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_DEPTH, rig.mode(SARVIK_STREAM_DEPTH, 0), &sink), 0);
  ASSERT_TRUE(sink.waitFor(20, 5));
  rig.camera->stopSensor(SARVIK_STREAM_DEPTH);
  std::vector<std::string> lines = rig.events.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("short or corrupt"), std::string::npos) << lines[0];
  EXPECT_EQ(rig.camera->connectionState(), 0u);
}

TEST(V4l2Stream, UnplugMidStreamEndsTheCameraWithOneEvent) {
  TestSink sink, again;
  StreamRig rig(webcamScript());
  ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_COLOR, rig.mode(SARVIK_STREAM_COLOR, kYuyvFirst), &sink), 0);
  ASSERT_TRUE(sink.waitFor(3));
  rig.sys->unplug("/dev/video0");
  ASSERT_TRUE(rig.events.waitForEvents(1));
  rig.camera->stopSensor(SARVIK_STREAM_COLOR);
  EXPECT_EQ(rig.camera->connectionState(), 1u);
  std::vector<Event> events = rig.events.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].uri, "usb://v4l2/video0");
  EXPECT_EQ(events[0].state, 1u);
  // The node is still listed but answers ENODEV: the next look posts nothing more.
  rig.backend->poll();
  EXPECT_EQ(rig.events.events().size(), 1u);
  std::vector<sarvikhost::CameraInfo> listed;
  rig.backend->list(&listed);
  EXPECT_TRUE(listed.empty());
  EXPECT_EQ(rig.camera->startSensor(SARVIK_STREAM_COLOR, rig.mode(SARVIK_STREAM_COLOR, kYuyvFirst), &again),
            kSarvikErrDisconnected);
  int32_t value = 1;
  EXPECT_EQ(rig.camera->setProperty(V4L2_CID_BRIGHTNESS, &value, 4), kSarvikErrDisconnected);
}

TEST(V4l2Stream, BusyNodeGivesBusyAndOneLine) {
  TestSink sink;
  StreamRig rig(webcamScript());
  rig.sys->setBusy("/dev/video0", true);
  EXPECT_EQ(rig.camera->startSensor(SARVIK_STREAM_COLOR, rig.mode(SARVIK_STREAM_COLOR, kYuyvFirst), &sink), kSarvikErrBusy);
  std::vector<std::string> lines = rig.events.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("busy"), std::string::npos) << lines[0];
  rig.sys->setBusy("/dev/video0", false);
  ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_COLOR, rig.mode(SARVIK_STREAM_COLOR, kYuyvFirst), &sink), 0);
  ASSERT_TRUE(sink.waitFor(2));
  rig.camera->stopSensor(SARVIK_STREAM_COLOR);
}

TEST(V4l2Stream, ClosingAStreamingCameraStopsItAndClosesTheNode) {
  TestSink sink;
  StreamRig rig(webcamScript());
  ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_COLOR, rig.mode(SARVIK_STREAM_COLOR, kYuyvFirst), &sink), 0);
  ASSERT_TRUE(sink.waitFor(2));
  rig.camera.reset();
  EXPECT_EQ(rig.sys->openFds(), 0u);
  EXPECT_EQ(rig.sys->mapped(), rig.sys->unmapped());
}

}  // namespace
