// Motion-JPEG cameras: images decoded into RGB24, corrupt ones lost with one line.
#include <gtest/gtest.h>

#ifdef SARVIK_HAVE_TURBOJPEG
#include <linux/videodev2.h>
#include <turbojpeg.h>

#include <memory>
#include <random>

#include "fake_v4l2_device.h"
#include "plugins/v4l2/v4l2_backend.h"
#include "plugins/v4l2/v4l2_mjpeg.h"
#include "v4l2_test_support.h"

namespace {

using namespace v4l2test;

// A flat-coloured JPEG as a camera would send it.
std::vector<uint8_t> encodeFlat(int width, int height, uint8_t r, uint8_t g, uint8_t b) {
  std::vector<uint8_t> rgb(static_cast<size_t>(width) * height * 3);
  for (size_t i = 0; i < rgb.size(); i += 3) {
    rgb[i] = r;
    rgb[i + 1] = g;
    rgb[i + 2] = b;
  }
  tjhandle handle = tjInitCompress();
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  EXPECT_EQ(tjCompress2(handle, rgb.data(), width, 0, height, TJPF_RGB, &jpeg, &size, TJSAMP_422, 90, 0), 0);
  std::vector<uint8_t> out(jpeg, jpeg + size);
  tjFree(jpeg);
  tjDestroy(handle);
  return out;
}

struct MjpegRig {
  std::shared_ptr<FakeSystem> sys = std::make_shared<FakeSystem>();
  TestEvents events;
  std::unique_ptr<v4l2cam::V4l2Backend> backend;
  std::unique_ptr<sarvikhost::Camera> camera;
  MjpegRig() {
    sys->add("/dev/video0", webcamScript());
    backend = std::make_unique<v4l2cam::V4l2Backend>(sys);
    backend->start(&events);
    sarvikhost::CameraInfo info;
    EXPECT_EQ(backend->open("/dev/video0", &camera, &info), 0);
  }
  ~MjpegRig() {
    camera.reset();
    backend->stop();
  }
  // 1280x720 MJPG at 30: the first mode.
  const SarvikModeRecord& mode() { return camera->modes(SARVIK_STREAM_COLOR).at(0); }
};

TEST(V4l2Mjpeg, ImagesAreDecodedIntoRgb) {
  TestSink sink;
  MjpegRig rig;
  rig.sys->setPayload("/dev/video0", encodeFlat(1280, 720, 200, 40, 90));
  ASSERT_EQ(rig.mode().mode.modeValue1, 1280);
  ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_COLOR, rig.mode(), &sink), 0);
  ASSERT_TRUE(sink.waitFor(5));
  rig.camera->stopSensor(SARVIK_STREAM_COLOR);
  Delivered d = sink.frames()[0];
  EXPECT_EQ(d.pixelType, SARVIK_PIXEL_RGB24);
  EXPECT_EQ(d.dataSize, 1280u * 720u * 3u);
  EXPECT_NEAR(d.head[0], 200, 4);
  EXPECT_NEAR(d.head[1], 40, 4);
  EXPECT_NEAR(d.head[2], 90, 4);
  EXPECT_TRUE(rig.events.lines().empty());
}

TEST(V4l2Mjpeg, CorruptTruncatedOrMissizedImagesAreLostWithOneLine) {
  std::vector<uint8_t> good = encodeFlat(1280, 720, 10, 10, 10);
  std::mt19937 random(22);
  std::vector<uint8_t> noise(4000);
  for (uint8_t& byte : noise) byte = static_cast<uint8_t>(random());
  std::vector<std::vector<uint8_t>> payloads = {
      noise, std::vector<uint8_t>(good.begin(), good.begin() + good.size() / 2), encodeFlat(640, 480, 1, 2, 3), {}};
  for (size_t i = 0; i < payloads.size(); ++i) {
    SCOPED_TRACE(i);
    TestSink sink;
    MjpegRig rig;
    rig.sys->setPayload("/dev/video0", payloads[i]);
    ASSERT_EQ(rig.camera->startSensor(SARVIK_STREAM_COLOR, rig.mode(), &sink), 0);
    ASSERT_TRUE(sink.waitFor(0, 5));
    rig.camera->stopSensor(SARVIK_STREAM_COLOR);
    EXPECT_TRUE(sink.frames().empty());
    EXPECT_EQ(rig.events.lines().size(), 1u);
    EXPECT_EQ(rig.camera->connectionState(), 0u);
  }
}

TEST(V4l2Mjpeg, DecoderRefusesNullSizedInput) {
  v4l2cam::MjpegDecoder decoder;
  uint8_t out[3];
  const uint8_t tiny[] = {0xff, 0xd8};
  EXPECT_FALSE(decoder.decode(tiny, sizeof tiny, 1, 1, out));
}

}  // namespace
#endif
