// The V4L2 back end inside the plug-in host, beside the simulated cameras:
// the device and node lists, open by node path, controls through the host's
// property calls, and simulated cameras shown only when no real one is found.
#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <memory>

#include "fake_v4l2_device.h"
#include "plugins/host/host_driver.h"
#include "plugins/simcam/sim_backend.h"
#include "plugins/v4l2/v4l2_backend.h"

namespace {

using namespace v4l2test;

struct HostRig {
  std::shared_ptr<FakeSystem> sys = std::make_shared<FakeSystem>();
  std::unique_ptr<sarvikhost::HostDriver> driver;
  void start() {
    std::vector<std::unique_ptr<sarvikhost::Backend>> backends;
    backends.emplace_back(new simcam::SimBackend(kSimTransportUsb));
    backends.emplace_back(new v4l2cam::V4l2Backend(sys));
    sarvikhost::HostOptions options;
    options.pluginName = "usb";
    options.simulated = sarvikhost::SimulatedPolicy::Auto;
    driver = std::make_unique<sarvikhost::HostDriver>(options, std::move(backends));
    ASSERT_EQ(driver->initialize(), 0);
  }
  std::vector<std::string> uris() {
    std::vector<typedefSarvikDeviceInfo> records(64);
    uint32_t count = 64;
    EXPECT_EQ(driver->getDeviceList(records.data(), &count), 0);
    std::vector<std::string> out;
    for (uint32_t i = 0; i < count; ++i) out.push_back(records[i].uri);
    return out;
  }
};

TEST(V4l2Host, WithoutARealCameraTheSimulatedOnesAreListed) {
  HostRig rig;
  rig.start();
  std::vector<std::string> uris = rig.uris();
  ASSERT_FALSE(uris.empty());
  for (const std::string& uri : uris) EXPECT_EQ(uri.find("v4l2"), std::string::npos) << uri;
}

TEST(V4l2Host, ARealCameraHidesTheSimulatedOnesAndOpensByNodePath) {
  HostRig rig;
  rig.sys->add("/dev/video0", webcamScript());
  rig.start();
  EXPECT_EQ(rig.uris(), std::vector<std::string>{"usb://v4l2/video0"});
  typedefSarvikVideoNodeInfo nodes[8];
  uint32_t count = 8;
  ASSERT_EQ(rig.driver->getVideoNodeList(nodes, &count), 0);
  ASSERT_EQ(count, 1u);
  EXPECT_STREQ(nodes[0].path, "/dev/video0");

  sarvik::DeviceInterfaceBase* device = nullptr;
  ASSERT_EQ(rig.driver->openDevice("/dev/video0", &device), 0);
  ASSERT_NE(device, nullptr);
  int32_t value = 40;
  ASSERT_EQ(device->setProperty(V4L2_CID_CONTRAST, &value, sizeof value), 0);
  value = 0;
  uint32_t length = sizeof value;
  ASSERT_EQ(device->getProperty(V4L2_CID_CONTRAST, &value, &length), 0);
  EXPECT_EQ(value, 40);
  SarvikPropertyInfo list[16];
  length = sizeof list;
  ASSERT_EQ(device->getProperty(kSarvikPropertyList, list, &length), 0);
  ASSERT_GE(length / sizeof(SarvikPropertyInfo), 8u);
  EXPECT_EQ(list[0].id, static_cast<uint32_t>(V4L2_CID_BRIGHTNESS));
  value = 1000;
  EXPECT_EQ(device->setProperty(V4L2_CID_CONTRAST, &value, sizeof value), kSarvikErrArgument);
  EXPECT_EQ(rig.driver->closeDevice(&device), 0);
  EXPECT_EQ(rig.sys->openFds(), 0u);
}

}  // namespace
