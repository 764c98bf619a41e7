// Runs only where the machine has V4L2 capture nodes: every camera streams 30
// frames of its first mode.
#include <gtest/gtest.h>

#include "plugins/v4l2/v4l2_backend.h"
#include "v4l2_test_support.h"

namespace {

using namespace v4l2test;

TEST(V4l2RealCamera, EveryCaptureNodeStreamsThirtyFrames) {
  TestEvents events;
  v4l2cam::V4l2Backend backend;
  backend.start(&events);
  std::vector<sarvikhost::CameraInfo> cameras;
  backend.list(&cameras);
  if (cameras.empty()) {
    backend.stop();
    GTEST_SKIP() << "no V4L2 capture node on this machine";
  }
  for (const sarvikhost::CameraInfo& info : cameras) {
    SCOPED_TRACE(info.nodePath);
    std::unique_ptr<sarvikhost::Camera> camera;
    sarvikhost::CameraInfo opened;
    ASSERT_EQ(backend.open(info.uri, &camera, &opened), 0);
    for (uint32_t sensor : {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR}) {
      const std::vector<SarvikModeRecord>& modes = camera->modes(sensor);
      if (modes.empty()) continue;
      TestSink sink;
      ASSERT_EQ(camera->startSensor(sensor, modes[0], &sink), 0);
      // Cameras may start slowly: wait twice the patience of the fake.
      bool got = sink.waitFor(30) || sink.waitFor(30);
      camera->stopSensor(sensor);
      EXPECT_TRUE(got) << "frames: " << sink.frames().size() << ", lost: " << sink.lostCount();
      break;
    }
  }
  backend.stop();
}

}  // namespace
