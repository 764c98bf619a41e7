// Listing, modes, controls and hot-plug of the V4L2 back end over the fake device.
#include <errno.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <algorithm>
#include <memory>

#include "fake_v4l2_device.h"
#include "plugins/v4l2/v4l2_backend.h"
#include "v4l2_test_support.h"

namespace {

using namespace v4l2test;

struct Rig {
  std::shared_ptr<FakeSystem> sys = std::make_shared<FakeSystem>();
  TestEvents events;
  std::unique_ptr<v4l2cam::V4l2Backend> backend;
  void start() {
    backend = std::make_unique<v4l2cam::V4l2Backend>(sys);
    backend->start(&events);
  }
  std::vector<sarvikhost::CameraInfo> list() {
    std::vector<sarvikhost::CameraInfo> out;
    backend->list(&out);
    return out;
  }
  std::unique_ptr<sarvikhost::Camera> open(const std::string& address, int32_t* status = nullptr) {
    std::unique_ptr<sarvikhost::Camera> camera;
    sarvikhost::CameraInfo info;
    int32_t result = backend->open(address, &camera, &info);
    if (status != nullptr) *status = result;
    return camera;
  }
};

TEST(V4l2Backend, NoNodesMeansNoCamerasAndNothingLogged) {
  Rig rig;
  rig.start();
  EXPECT_TRUE(rig.list().empty());
  rig.backend->poll();
  EXPECT_TRUE(rig.events.lines().empty());
  EXPECT_TRUE(rig.events.events().empty());
}

TEST(V4l2Backend, ListsCaptureNodesWithTheirUsbIdentityAndSkipsMetadataNodesQuietly) {
  Rig rig;
  rig.sys->add("/dev/video0", webcamScript());
  rig.sys->add("/dev/video1", metadataScript());
  rig.sys->add("/dev/video2", depthScript());
  rig.start();
  std::vector<sarvikhost::CameraInfo> cameras = rig.list();
  ASSERT_EQ(cameras.size(), 2u);
  EXPECT_EQ(cameras[0].uri, "usb://v4l2/video0");
  EXPECT_EQ(cameras[0].nodePath, "/dev/video0");
  EXPECT_EQ(cameras[0].vendorId, 0x0bda);
  EXPECT_EQ(cameras[0].productId, 0x58f4);
  EXPECT_EQ(cameras[0].serial, "200901010001");
  EXPECT_EQ(cameras[0].location, "1-2.3");
  EXPECT_EQ(cameras[0].index, 0u);
  EXPECT_EQ(cameras[1].uri, "usb://v4l2/video2");
  EXPECT_EQ(cameras[1].index, 2u);
  EXPECT_TRUE(rig.events.lines().empty());
  EXPECT_EQ(rig.sys->openFds(), 0u) << "listing leaves no node open";
}

TEST(V4l2Backend, NodesThatCannotBeUsedGetOneLineEach) {
  Rig rig;
  FakeScript onlyNv12 = webcamScript();
  onlyNv12.formats.erase(onlyNv12.formats.begin() + 1, onlyNv12.formats.end());
  onlyNv12.formats[0].fourcc = V4L2_PIX_FMT_NV12;
  rig.sys->add("/dev/video0", onlyNv12);
  rig.sys->add("/dev/video1", webcamScript());
  rig.sys->setOpenError("/dev/video1", EACCES);
  rig.sys->add("/dev/video2", webcamScript());
  rig.sys->setOpenError("/dev/video2", EBUSY);
  rig.start();
  EXPECT_TRUE(rig.list().empty());
  std::vector<std::string> lines = rig.events.lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[0].find("no format the SDK can use (NV12)"), std::string::npos) << lines[0];
  EXPECT_NE(lines[1].find("'video' group"), std::string::npos) << lines[1];
  EXPECT_NE(lines[2].find("busy"), std::string::npos) << lines[2];
}

TEST(V4l2Backend, ModesComeFromFormatsSizesAndIntervals) {
  Rig rig;
  rig.sys->add("/dev/video0", webcamScript());
  rig.sys->add("/dev/video2", depthScript());
  rig.start();
  auto webcam = rig.open("usb://v4l2/video0");
  ASSERT_TRUE(webcam);
  const std::vector<SarvikModeRecord>& colour = webcam->modes(SARVIK_STREAM_COLOR);
  // MJPG 1280x720 and 640x480 at 30 (when it can be decoded), YUYV 640x480
  // at 30 and 15, 1280x720 at 10, RGB3 320x240 at 30.
  struct Expect {
    uint16_t w, h;
    int8_t fps;
  };
  std::vector<Expect> expected = {{640, 480, 30}, {640, 480, 15}, {1280, 720, 10}, {320, 240, 30}};
#ifdef SARVIK_HAVE_TURBOJPEG
  // 640x480 at 30 is YUYV as well: one mode, the uncompressed one.
  expected.insert(expected.begin(), Expect{1280, 720, 30});
#endif
  ASSERT_EQ(colour.size(), expected.size());
  for (size_t i = 0; i < colour.size(); ++i) {
    EXPECT_EQ(colour[i].mode.modeValue1, expected[i].w);
    EXPECT_EQ(colour[i].mode.modeValue3, expected[i].h);
    EXPECT_EQ(colour[i].mode.modeValue2, expected[i].fps);
    EXPECT_EQ(colour[i].mode.modeValue4, SARVIK_PIXEL_RGB24);
    EXPECT_EQ(colour[i].modeIndex, i);
    EXPECT_EQ(colour[i].sensorType, static_cast<uint32_t>(SARVIK_STREAM_COLOR));
    EXPECT_EQ(colour[i].frameBytes, expected[i].w * expected[i].h * 3u);
  }
  EXPECT_TRUE(webcam->modes(SARVIK_STREAM_DEPTH).empty());
  EXPECT_TRUE(webcam->modes(99).empty());

  // The depth camera's card says "Depth": its Y16 is depth too, the same
  // mode as Z16 640x480 at 30, so listed once; GREY is ir.
  auto depth = rig.open("/dev/video2");
  ASSERT_TRUE(depth);
  EXPECT_EQ(depth->modes(SARVIK_STREAM_DEPTH).size(), 4u);
  ASSERT_EQ(depth->modes(SARVIK_STREAM_IR).size(), 1u);
  EXPECT_EQ(depth->modes(SARVIK_STREAM_IR)[0].mode.modeValue4, SARVIK_PIXEL_GRAY8);

  FakeScript thermal = depthScript();
  thermal.card = "Thermal Camera";
  thermal.identity.name = "Thermal Camera";
  rig.sys->add("/dev/video4", thermal);
  rig.backend->poll();
  auto ir = rig.open("usb://v4l2/video4");
  ASSERT_TRUE(ir);
  EXPECT_EQ(ir->modes(SARVIK_STREAM_DEPTH).size(), 4u);
  ASSERT_EQ(ir->modes(SARVIK_STREAM_IR).size(), 2u);
  EXPECT_EQ(ir->modes(SARVIK_STREAM_IR)[0].mode.modeValue4, SARVIK_PIXEL_GRAY16);
}

TEST(V4l2Backend, UnknownAddressesAreNotOurs) {
  Rig rig;
  rig.sys->add("/dev/video0", webcamScript());
  rig.start();
  int32_t status = 0;
  EXPECT_FALSE(rig.open("usb://sim/0", &status));
  EXPECT_EQ(status, kSarvikErrNotFound);
  EXPECT_FALSE(rig.open(std::string(300, 'x'), &status));
  EXPECT_EQ(status, kSarvikErrNotFound);
  EXPECT_FALSE(rig.open("", &status));
  EXPECT_EQ(status, kSarvikErrNotFound);
}

TEST(V4l2Backend, ControlsAreListedAndReadAndWrittenAsInt32Properties) {
  Rig rig;
  rig.sys->add("/dev/video0", webcamScript());
  rig.start();
  auto camera = rig.open("usb://v4l2/video0");
  ASSERT_TRUE(camera);
  std::vector<SarvikPropertyInfo> list;
  ASSERT_EQ(camera->propertyList(&list), 0);
  // Disabled controls and control classes are not offered.
  std::vector<uint32_t> ids;
  for (const SarvikPropertyInfo& p : list) ids.push_back(p.id);
  EXPECT_EQ(ids, (std::vector<uint32_t>{V4L2_CID_BRIGHTNESS, V4L2_CID_CONTRAST, V4L2_CID_AUTO_WHITE_BALANCE,
                                        V4L2_CID_POWER_LINE_FREQUENCY, V4L2_CID_WHITE_BALANCE_TEMPERATURE,
                                        V4L2_CID_EXPOSURE_AUTO, V4L2_CID_EXPOSURE_ABSOLUTE,
                                        V4L2_CID_FOCUS_ABSOLUTE}));
  const SarvikPropertyInfo& brightness = list[0];
  EXPECT_STREQ(brightness.name, "Brightness");
  EXPECT_EQ(brightness.minimum, -64);
  EXPECT_EQ(brightness.maximum, 64);
  EXPECT_EQ(brightness.flags, static_cast<uint32_t>(kSarvikPropertyReadable | kSarvikPropertyWritable));
  EXPECT_EQ(list.back().flags, static_cast<uint32_t>(kSarvikPropertyReadable)) << "focus is read only";

  int32_t value = -20;
  uint32_t length = sizeof value;
  ASSERT_EQ(camera->setProperty(V4L2_CID_BRIGHTNESS, &value, sizeof value), 0);
  value = 0;
  ASSERT_EQ(camera->getProperty(V4L2_CID_BRIGHTNESS, &value, &length), 0);
  EXPECT_EQ(value, -20);
  EXPECT_EQ(length, 4u);

  struct Bad {
    uint32_t id;
    int32_t value;
    uint32_t length;
    int32_t status;
  } bad[] = {
      {V4L2_CID_BRIGHTNESS, 65, 4, kSarvikErrArgument},
      {V4L2_CID_BRIGHTNESS, 1, 2, kSarvikErrArgument},
      {V4L2_CID_BRIGHTNESS, 1, 8, kSarvikErrArgument},
      {V4L2_CID_FOCUS_ABSOLUTE, 10, 4, kSarvikErrState},
      {V4L2_CID_PAN_ABSOLUTE, 0, 4, kSarvikErrNotFound},
      {V4L2_CID_GAIN, 0, 4, kSarvikErrNotFound},
      {0x300, 0, 4, kSarvikErrUnsupported},
  };
  for (const Bad& b : bad) {
    SCOPED_TRACE(b.id);
    int64_t room[2] = {b.value, 0};
    EXPECT_EQ(camera->setProperty(b.id, room, b.length), b.status);
  }
  value = 0;
  length = 4;
  ASSERT_EQ(camera->getProperty(V4L2_CID_BRIGHTNESS, &value, &length), 0);
  EXPECT_EQ(value, -20) << "refused writes change nothing";

  // A short buffer gets what fits and the real length.
  uint8_t one = 0;
  length = 1;
  ASSERT_EQ(camera->getProperty(V4L2_CID_CONTRAST, &one, &length), 0);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(one, 32);
}

TEST(V4l2Backend, HotPlugPostsCameThenWent) {
  Rig rig;
  rig.start();
  rig.sys->add("/dev/video3", webcamScript());
  rig.sys->add("/dev/video4", metadataScript());
  rig.backend->poll();
  ASSERT_EQ(rig.list().size(), 1u);
  rig.sys->remove("/dev/video3");
  rig.sys->remove("/dev/video4");
  rig.backend->poll();
  EXPECT_TRUE(rig.list().empty());
  std::vector<Event> events = rig.events.events();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].uri, "usb://v4l2/video3");
  EXPECT_EQ(events[0].state, 0u);
  EXPECT_EQ(events[1].uri, "usb://v4l2/video3");
  EXPECT_EQ(events[1].state, 1u);
  rig.backend->poll();
  EXPECT_EQ(rig.events.events().size(), 2u) << "an unchanged node list posts nothing";
}

}  // namespace
