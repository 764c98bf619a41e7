#include "plugins/simcam/sim_config.h"

#include <gtest/gtest.h>

#include "simcam_harness.h"

namespace {

using simcam::SimConfig;

TEST(SimConfigTest, WithoutAFileEachTransportHasOneCameraWithEverySensor) {
  SimConfig config;
  EXPECT_EQ(config.cameraCount(kSimTransportUsb), 1u);
  EXPECT_EQ(config.cameraCount(kSimTransportNet), 1u);
  for (uint32_t type : SimConfig::kSensorTypes) EXPECT_FALSE(config.modes(kSimTransportUsb, type).empty()) << type;
  EXPECT_TRUE(config.modes(kSimTransportUsb, 8).empty());
  EXPECT_EQ(config.camera(kSimTransportUsb, 0).serial, "SIM0U0000001");
  EXPECT_EQ(config.camera(kSimTransportNet, 0).serial, "SIM0N0000001");
  EXPECT_EQ(config.camera(kSimTransportUsb, 2).location, "sim-location-2");
  EXPECT_NE(config.camera(kSimTransportNet, 2).location, config.camera(kSimTransportUsb, 2).location);
}

TEST(SimConfigTest, MissingFileKeepsTheDefaultsButAnUnreadableOneIsReported) {
  simcamtest::TempDir dir;
  SimConfig missing;
  EXPECT_TRUE(missing.loadFile(dir.file("simcam.conf")));
  EXPECT_TRUE(missing.errors().empty());
  EXPECT_EQ(missing.cameraCount(kSimTransportUsb), 1u);

  SimConfig folder;
  EXPECT_FALSE(folder.loadFile(dir.path()));
  EXPECT_EQ(folder.errors().size(), 1u);
}

TEST(SimConfigTest, ShippedExampleParsesCleanly) {
  SimConfig config;
  ASSERT_TRUE(config.loadFile(SARVIK_SOURCE_DIR "/plugins/simcam/simcam.conf.example"));
  EXPECT_TRUE(config.errors().empty());
}

TEST(SimConfigTest, GoodFileSetsCamerasModesAndSchedule) {
  SimConfig config;
  ASSERT_TRUE(config.parse(
      "# two USB cameras, none on the network\n"
      "usb.cameras = 2\n"
      "net.cameras = 0\n"
      "usb.1.serial = CAM-B   # trailing comment\n"
      "usb.1.location = rack-7\n"
      "usb.0.present = no\n"
      "modes.depth = 320x240@15, 64x48@0\n"
      "net.modes.depth = 640x480@30\n"
      "usb.modes.ir = 100x50@5:y16\n"
      "modes.lightir =\n"
      "hotplug = unplug usb://sim/1 at 1.5s, plug at 2500ms\n"
      "hotplug = plug usb://sim/0 at 3\n"
      "flatout = on\n"
      "pixels = none\n"
      "control = none\n"));
  EXPECT_EQ(config.cameraCount(kSimTransportUsb), 2u);
  EXPECT_EQ(config.cameraCount(kSimTransportNet), 0u);
  EXPECT_EQ(config.camera(kSimTransportUsb, 1).serial, "CAM-B");
  EXPECT_EQ(config.camera(kSimTransportUsb, 1).location, "rack-7");
  EXPECT_FALSE(config.camera(kSimTransportUsb, 0).present);
  EXPECT_TRUE(config.camera(kSimTransportUsb, 1).present);

  const auto& depth = config.modes(kSimTransportUsb, SARVIK_STREAM_DEPTH);
  ASSERT_EQ(depth.size(), 2u);
  EXPECT_EQ(depth[0].mode.modeValue1, 320);
  EXPECT_EQ(depth[0].mode.modeValue3, 240);
  EXPECT_EQ(depth[0].mode.modeValue2, 15);
  EXPECT_EQ(depth[0].mode.modeValue4, kSimPixelDepth16);
  EXPECT_EQ(depth[0].frameBytes, 320u * 240u * 2u);
  EXPECT_EQ(depth[1].mode.modeValue2, 0);
  EXPECT_EQ(depth[1].modeIndex, 1);
  EXPECT_EQ(config.modes(kSimTransportNet, SARVIK_STREAM_DEPTH).size(), 1u);
  const auto& ir = config.modes(kSimTransportUsb, SARVIK_STREAM_IR);
  ASSERT_EQ(ir.size(), 1u);
  EXPECT_EQ(ir[0].mode.modeValue4, kSimPixelGray16);
  EXPECT_EQ(ir[0].frameBytes, 100u * 50u * 2u);
  EXPECT_TRUE(config.modes(kSimTransportNet, SARVIK_STREAM_LIGHT_IR).empty());

  const auto& steps = config.hotplug();
  ASSERT_EQ(steps.size(), 3u);
  EXPECT_FALSE(steps[0].plug);
  EXPECT_EQ(steps[0].uri, "usb://sim/1");
  EXPECT_DOUBLE_EQ(steps[0].atSeconds, 1.5);
  EXPECT_TRUE(steps[1].plug);
  EXPECT_EQ(steps[1].uri, "usb://sim/1");  // the address carries over within a line
  EXPECT_DOUBLE_EQ(steps[1].atSeconds, 2.5);
  EXPECT_EQ(steps[2].uri, "usb://sim/0");
  EXPECT_TRUE(config.flatOut());
  EXPECT_FALSE(config.renderPixels());
  EXPECT_EQ(config.controlFile(), "");
}

TEST(SimConfigTest, GarbageLinesAreReportedOneByOneAndChangeNothing) {
  SimConfig config;
  EXPECT_FALSE(config.parse(
      "this is not a setting\n"
      "usb.cameras = many\n"
      "usb.cameras = 61\n"
      "usb.cameras = 3\n"
      "modes.depth = 640x480@30, 0x480@30\n"
      "modes.color = 640x480@30:y8\n"
      "modes.fog = 640x480@30\n"
      "usb.70.serial = X\n"
      "usb.0.serial = 0123456789012345678901234567890123\n"
      "usb.0.colour = red\n"
      "hotplug = unplug at 2s\n"
      "hotplug = yank usb://sim/0 at 1s\n"
      "flatout = perhaps\n"
      "\x01\x02\xff = \xfe\n"));
  EXPECT_EQ(config.errors().size(), 13u);
  EXPECT_EQ(config.errors()[0].compare(0, 7, "line 1:"), 0) << config.errors()[0];
  EXPECT_EQ(config.cameraCount(kSimTransportUsb), 3u);  // the one good line
  EXPECT_EQ(config.modes(kSimTransportUsb, SARVIK_STREAM_DEPTH).size(), SimConfig().modes(kSimTransportUsb, 2).size());
  EXPECT_EQ(config.modes(kSimTransportUsb, SARVIK_STREAM_COLOR)[0].mode.modeValue4, kSimPixelRgb24);
  EXPECT_EQ(config.camera(kSimTransportUsb, 0).serial, "SIM0U0000001");
  EXPECT_TRUE(config.hotplug().empty());
  EXPECT_FALSE(config.flatOut());
}

TEST(SimConfigTest, ModeListsRefuseMalformedEntriesAndForeignFormats) {
  std::vector<SimFrameMode> modes;
  std::string error;
  for (const char* bad : {"640x480", "640x480@", "640@30", "x480@30", "640x480@128", "640x480@-1",
                          "9000x480@30", "640x480@30:", "640x480@30:rgb", "640x480@30,", "640 x 480 @ 30"}) {
    EXPECT_FALSE(SimConfig::parseModeList(bad, SARVIK_STREAM_DEPTH, &modes, &error)) << bad;
  }
  ASSERT_TRUE(SimConfig::parseModeList("  ", SARVIK_STREAM_DEPTH, &modes, &error));
  EXPECT_TRUE(modes.empty());
  ASSERT_TRUE(SimConfig::parseModeList("8x2@127:y16,8x2@1:y8", SARVIK_STREAM_LIGHT_IR, &modes, &error));
  ASSERT_EQ(modes.size(), 2u);
  EXPECT_EQ(modes[0].bytesPerPixel, 2);
  EXPECT_EQ(modes[1].bytesPerPixel, 1);
  EXPECT_EQ(modes[0].sensorType, uint32_t{SARVIK_STREAM_LIGHT_IR});
  EXPECT_EQ(modes[0].mode.modeValue2, 127);
}

}  // namespace
