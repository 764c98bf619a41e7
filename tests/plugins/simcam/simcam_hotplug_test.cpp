// Hot-plug: the test exports, the control file and the configured schedule
// all change a camera's presence, and the event reaches the host from the
// plug-in's own thread, where the host may enumerate again.
#include <gtest/gtest.h>

#include <cstdio>

#include "plugins/simcam/sim_protocol.h"
#include "simcam_harness.h"

namespace {

using simcamtest::Driver;
using simcamtest::EventLog;
using simcamtest::Plugin;
using simcamtest::StateEvent;
using simcamtest::TempDir;

TEST(SimcamHotplugTest, UnplugStopsTheDeviceAndIsAnnouncedFromThePluginsThread) {
  EventLog log;
  simcamtest::Camera cam("usb.cameras = 2\nusb.0.location = desk\nmodes.depth = 32x24@60\n", &EventLog::onState, &log);
  auto [pool, sink, driver, device] = cam.parts();
  Plugin& plugin = cam.plugin;
  log.m_driver = driver.get();
  sarvik::StreamInterfaceBase* stream = simcamtest::startStream(device, SARVIK_STREAM_DEPTH, pool, sink);
  ASSERT_NE(stream, nullptr);
  ASSERT_TRUE(sink.waitFor(2));

  ASSERT_EQ(plugin.unplug("usb://sim/0"), 0);
  size_t atUnplug = sink.count();
  EXPECT_EQ(device->getConnectionState(), 1u);
  EXPECT_FALSE(device->isStreamReady());
  EXPECT_EQ(driver.listedCount(), 1u);
  sarvik::DeviceInterfaceBase* refused = nullptr;
  EXPECT_NE(driver->openDevice("usb://sim/0", &refused), 0);
  EXPECT_EQ(plugin.unplug("usb://sim/0"), 1);  // no change, no second event
  EXPECT_EQ(plugin.unplug("usb://sim/7"), -1);
  EXPECT_EQ(plugin.unplug("net://sim/0"), -1);  // the other library's camera

  ASSERT_TRUE(log.waitFor(1));
  StateEvent gone = log.events()[0];
  EXPECT_EQ(gone.uri, "usb://sim/0");
  EXPECT_EQ(gone.serial, "SIM0U0000001");
  EXPECT_EQ(gone.location, "desk");
  EXPECT_EQ(gone.state, 1u);
  EXPECT_NE(gone.thread, std::this_thread::get_id());
  EXPECT_EQ(gone.listedInside, 1u);

  stream->stop();  // joins: whatever was on its way has arrived
  EXPECT_LE(sink.count(), atUnplug + 1) << "at most the image in progress may follow an unplug";

  ASSERT_EQ(plugin.plug("usb://sim/0"), 0);
  ASSERT_TRUE(log.waitFor(2));
  EXPECT_EQ(log.events()[1].state, 0u);
  EXPECT_EQ(log.events()[1].listedInside, 2u);
  EXPECT_EQ(log.events().size(), 2u);
  // The old object stays with the old connection; a new open is connected.
  EXPECT_EQ(device->getConnectionState(), 1u);
  EXPECT_NE(stream->start(), 0);
  sarvik::DeviceInterfaceBase* again = driver.open("usb://sim/0");
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->getConnectionState(), 0u);
  driver->closeDevice(&again);
  driver->closeDevice(&device);
}

TEST(SimcamHotplugTest, ControlFileCommandsAreFollowedButStaleOnesAreNotReplayed) {
  TempDir dir;
  dir.write("simcam.conf", "usb.cameras = 2\n");
  dir.write("simcam.ctl", "unplug usb://sim/1\n");  // from an earlier run
  Plugin plugin(dir);
  EventLog log;
  Driver driver(plugin, &EventLog::onState, &log);

  dir.append("simcam.ctl", "# comment\nunplug usb://sim/0\n");
  ASSERT_TRUE(log.waitFor(1));
  dir.append("simcam.ctl", "plug usb://sim/0\n");
  ASSERT_TRUE(log.waitFor(2));
  std::vector<StateEvent> events = log.events();
  EXPECT_EQ(events[0].uri, "usb://sim/0");
  EXPECT_EQ(events[0].state, 1u);
  EXPECT_EQ(events[1].state, 0u);
  EXPECT_EQ(driver.listedCount(), 2u);

  // A file written anew is read from its start.
  dir.write("simcam.ctl.new", "unplug usb://sim/1\n");
  std::rename(dir.file("simcam.ctl.new").c_str(), dir.file("simcam.ctl").c_str());
  ASSERT_TRUE(log.waitFor(3));
  EXPECT_EQ(log.events()[2].uri, "usb://sim/1");
}

TEST(SimcamHotplugTest, BothLibrariesFollowOneControlFileEachForItsOwnCameras) {
  TempDir dir;
  Plugin uvc(dir, "libSarvikUvcDriver.so");
  Plugin net(dir, "libSarvikNetDriver.so");
  EventLog usbLog, netLog;
  Driver usbDriver(uvc, &EventLog::onState, &usbLog);
  Driver netDriver(net, &EventLog::onState, &netLog);

  dir.append("simcam.ctl", "unplug net://sim/0\n");
  ASSERT_TRUE(netLog.waitFor(1));
  dir.append("simcam.ctl", "unplug usb://sim/0\n");
  ASSERT_TRUE(usbLog.waitFor(1));
  ASSERT_TRUE(netLog.waitFor(1));
  EXPECT_EQ(usbLog.events().size(), 1u);
  EXPECT_EQ(usbLog.events()[0].uri, "usb://sim/0");
  EXPECT_EQ(netLog.events()[0].uri, "net://sim/0");
  EXPECT_EQ(netDriver.listedCount(), 0u);
}

TEST(SimcamHotplugTest, ScheduledStepsRunInOrderFromInitialize) {
  TempDir dir;
  dir.write("simcam.conf",
            "usb.cameras = 2\nusb.1.present = no\n"
            "hotplug = plug usb://sim/1 at 0.5s, unplug usb://sim/0 at 0.3s, plug at 0.6s\n"
            "hotplug = unplug net://sim/0 at 0.1s\n");
  Plugin plugin(dir);
  EventLog log;
  EXPECT_EQ(Driver(plugin).listedCount(), 1u);  // camera 1 starts unplugged

  Driver driver(plugin, &EventLog::onState, &log);
  ASSERT_TRUE(log.waitFor(3));
  std::vector<StateEvent> events = log.events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].uri, "usb://sim/0");
  EXPECT_EQ(events[0].state, 1u);
  EXPECT_EQ(events[1].uri, "usb://sim/1");
  EXPECT_EQ(events[1].state, 0u);
  EXPECT_EQ(events[2].uri, "usb://sim/0");
  EXPECT_EQ(events[2].state, 0u);
  EXPECT_EQ(driver.listedCount(), 2u);
}

TEST(SimcamHotplugTest, DestroyEndsEveryThreadEvenWithDevicesLeftOpen) {
  EventLog log;
  simcamtest::Camera cam("modes.depth = 32x24@0\n", &EventLog::onState, &log);
  auto [pool, sink, driver, device] = cam.parts();
  Plugin& plugin = cam.plugin;
  ASSERT_NE(simcamtest::startStream(device, SARVIK_STREAM_DEPTH, pool, sink), nullptr);
  ASSERT_TRUE(sink.waitFor(5));
  plugin.unplug("usb://sim/0");
  plugin.plug("usb://sim/0");

  driver.destroy();
  sink.close();
  pool.m_closed = true;
  // Unloading the library next would crash under a thread still in it.
  EXPECT_EQ(sink.late(), 0u);
  EXPECT_EQ(pool.m_callsAfterClose.load(), 0u);
  EXPECT_EQ(plugin.unplug("usb://sim/0"), -1);  // the object is gone from the registry
}

}  // namespace
