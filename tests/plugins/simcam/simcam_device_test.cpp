// The plug-in's answers to the host's enumeration, open and device commands.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "plugins/simcam/sim_frame_mode.h"
#include "plugins/simcam/sim_protocol.h"
#include "simcam_harness.h"

namespace {

using simcamtest::Driver;
using simcamtest::Plugin;
using simcamtest::TempDir;

TEST(SimcamDeviceTest, RecordsDescribeEachPresentCameraOfTheTransport) {
  TempDir dir;
  dir.write("simcam.conf", "usb.cameras = 2\nusb.1.serial = CAM-B\nnet.cameras = 1\n");
  Plugin uvc(dir, "libSarvikUvcDriver.so");
  Plugin net(dir, "libSarvikNetDriver.so");
  Driver usbDriver(uvc);
  Driver netDriver(net);

  typedefSarvikDeviceInfo records[60];
  uint32_t count = 60;
  ASSERT_EQ(usbDriver->getDeviceList(records, &count), 0);
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(records[0].vendorId, kSimVendorId);
  EXPECT_EQ(records[0].productId, kSimUsbProductId);
  EXPECT_EQ(records[0].ConnectionType, 1u);
  EXPECT_STREQ(records[0].serialNumber, "SIM0U0000001");
  EXPECT_STREQ(records[0].name, "Sarvik Sim USB Camera");
  EXPECT_STREQ(records[0].uri, "usb://sim/0");
  EXPECT_STREQ(records[1].serialNumber, "CAM-B");
  EXPECT_STREQ(records[1].uri, "usb://sim/1");

  count = 60;
  ASSERT_EQ(netDriver->getDeviceList(records, &count), 0);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(records[0].productId, kSimNetProductId);
  EXPECT_EQ(records[0].ConnectionType, 2u);
  EXPECT_STREQ(records[0].name, "Sarvik Sim Net Camera");
  EXPECT_STREQ(records[0].uri, "net://sim/0");
}

TEST(SimcamDeviceTest, DeviceListNeverWritesPastTheRoomItIsGiven) {
  TempDir dir;
  dir.write("simcam.conf", "usb.cameras = 3\n");
  Plugin plugin(dir);
  Driver driver(plugin);

  typedefSarvikDeviceInfo records[3];
  std::memset(records, 0xAB, sizeof records);
  uint32_t count = 2;
  ASSERT_EQ(driver->getDeviceList(records, &count), 0);
  EXPECT_EQ(count, 2u);
  EXPECT_STREQ(records[1].uri, "usb://sim/1");
  const unsigned char* untouched = reinterpret_cast<const unsigned char*>(&records[2]);
  for (size_t i = 0; i < sizeof records[2]; ++i) ASSERT_EQ(untouched[i], 0xAB) << "byte " << i;

  count = 0;
  EXPECT_EQ(driver->getDeviceList(nullptr, &count), 0);
  EXPECT_EQ(count, 0u);
  EXPECT_NE(driver->getDeviceList(records, nullptr), 0);
}

TEST(SimcamDeviceTest, VideoNodesAreListedAndOpenableByTheirPath) {
  TempDir dir;
  dir.write("simcam.conf", "usb.cameras = 2\n");
  Plugin plugin(dir);
  Driver driver(plugin);

  typedefSarvikVideoNodeInfo nodes[60];
  uint32_t count = 0;  // says nothing on entry
  ASSERT_EQ(driver->getVideoNodeList(nodes, &count), 0);
  ASSERT_EQ(count, 2u);
  EXPECT_STREQ(nodes[1].path, "/dev/video1");

  sarvik::DeviceInterfaceBase* device = driver.open("/dev/video1");
  ASSERT_NE(device, nullptr);
  EXPECT_STREQ(device->getDeviceId(), "usb://sim/1");
  EXPECT_EQ(device->getDeviceFlags(), kSimDeviceFlags);
  EXPECT_EQ(driver->closeDevice(&device), 0);
  EXPECT_EQ(device, nullptr);
}

TEST(SimcamDeviceTest, OpenRefusesUnknownAddressesAndForeignIdentities) {
  TempDir dir;
  Plugin plugin(dir);
  Driver driver(plugin);
  sarvik::DeviceInterfaceBase* device = nullptr;
  EXPECT_NE(driver->openDevice("usb://sim/1", &device), 0);
  EXPECT_NE(driver->openDevice("net://sim/0", &device), 0);
  EXPECT_NE(driver->openDevice(nullptr, &device), 0);
  EXPECT_NE(driver->openDeviceByFd(kSimVendorId, kSimNetProductId, 3, "/dev/video0", &device), 0);
  EXPECT_NE(driver->openDeviceByFd(0x1234, kSimUsbProductId, 3, "/dev/video0", &device), 0);
  EXPECT_EQ(device, nullptr);

  // Any descriptor will do; a path that names no camera picks the first one.
  ASSERT_EQ(driver->openDeviceByFd(kSimVendorId, kSimUsbProductId, 99, "/dev/bus/usb/001/002", &device), 0);
  ASSERT_NE(device, nullptr);
  EXPECT_STREQ(device->getDeviceId(), "usb://sim/0");
  EXPECT_EQ(device->getConnectionState(), 0u);
  EXPECT_TRUE(device->isStreamReady());
  EXPECT_EQ(driver->closeDevice(&device), 0);
  sarvik::DeviceInterfaceBase* stale = reinterpret_cast<sarvik::DeviceInterfaceBase*>(&dir);
  EXPECT_NE(driver->closeDevice(&stale), 0);
}

TEST(SimcamDeviceTest, PropertiesRoundTripWithinTheRoomAndReportTheirRealLength) {
  simcamtest::Camera cam("");
  auto [pool, sink, driver, device] = cam.parts();
  ASSERT_NE(device, nullptr);

  char value[10] = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
  ASSERT_EQ(device->setProperty(1000, value, sizeof value), 0);
  char out[8];
  std::memset(out, '#', sizeof out);
  uint32_t length = 4;
  ASSERT_EQ(device->getProperty(1000, out, &length), 0);
  EXPECT_EQ(length, 10u);
  EXPECT_EQ(std::string(out, 8), "0123####");

  length = sizeof out;
  EXPECT_NE(device->getProperty(1001, out, &length), 0);
  EXPECT_NE(device->setProperty(kSimPropertyStreamFlagMode, value, 2), 0);
  int32_t mode = 3;
  ASSERT_EQ(device->setProperty(kSimPropertyStreamFlagMode, &mode, 4), 0);

  SimDeviceInfoBlock info;
  length = 82;
  ASSERT_EQ(device->getProperty(kSimPropertyDeviceInfo, &info, &length), 0);
  EXPECT_EQ(length, 82u);
  EXPECT_EQ(info.blockSize, 82);
  EXPECT_STREQ(info.serialNumber, "SIM0U0000001");
  EXPECT_EQ(info.productId, kSimUsbProductId);
  EXPECT_EQ(info.sensorMask, 1u | 2u | 4u | 32u);

  SimDeviceStatus status{};
  status.size = sizeof status;
  ASSERT_EQ(device->queryData(&status), 0);
  EXPECT_EQ(status.streamFlagMode, 3);
  EXPECT_EQ(status.connectionState, 0u);
  SimDeviceStatus small{};
  small.size = 8;
  small.connectionState = 77;
  ASSERT_EQ(device->queryData(&small), 0);
  EXPECT_EQ(small.size, 8u);
  EXPECT_EQ(small.connectionState, 77u);  // beyond the room: not written

  char reply[16];
  uint32_t room = sizeof reply;
  ASSERT_EQ(device->sendCommand(const_cast<char*>("ping"), 4, reinterpret_cast<uintptr_t>(reply),
                                reinterpret_cast<uintptr_t>(&room)),
            0);
  EXPECT_STREQ(reply, "pong");
  EXPECT_NE(device->sendCommand(const_cast<char*>("reboot"), 6, 0, 0), 0);
  driver->closeDevice(&device);
}

TEST(SimcamDeviceTest, OnlyListedModesBecomeCurrentAndSetTheBufferSize) {
  simcamtest::Camera cam("modes.depth = 320x240@30, 160x120@15\nmodes.lightir =\n");
  auto [pool, sink, driver, device] = cam.parts();
  ASSERT_NE(device, nullptr);

  uint32_t count = 0;
  ASSERT_EQ(device->getFrameModeList(SARVIK_STREAM_DEPTH, 0, reinterpret_cast<uintptr_t>(&count)), 0);
  EXPECT_EQ(count, 2u);
  SimFrameMode modes[2] = {};
  count = 1;
  ASSERT_EQ(device->getFrameModeList(SARVIK_STREAM_DEPTH, reinterpret_cast<uintptr_t>(modes),
                                     reinterpret_cast<uintptr_t>(&count)),
            0);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(modes[1].frameBytes, 0u);  // no room, not written
  count = 2;
  device->getFrameModeList(SARVIK_STREAM_DEPTH, reinterpret_cast<uintptr_t>(modes),
                           reinterpret_cast<uintptr_t>(&count));
  EXPECT_NE(device->getFrameModeList(SARVIK_STREAM_LIGHT_IR, reinterpret_cast<uintptr_t>(modes),
                                     reinterpret_cast<uintptr_t>(&count)),
            0);
  EXPECT_EQ(count, 0u);

  const typedefSarvikFrameMode* current = device->getCurrentFrameMode(SARVIK_STREAM_DEPTH);
  ASSERT_NE(current, nullptr);
  EXPECT_EQ(current->modeValue1, 320);

  // A copy is accepted: modes are compared by value, not by address.
  typedefSarvikFrameMode wanted = modes[1].mode;
  ASSERT_EQ(device->setFrameMode(SARVIK_STREAM_DEPTH, &wanted, false), 0);
  EXPECT_EQ(device->getCurrentFrameMode(SARVIK_STREAM_DEPTH)->modeValue1, 160);
  wanted.modeValue2 = 60;
  EXPECT_NE(device->setFrameMode(SARVIK_STREAM_DEPTH, &wanted, false), 0);
  EXPECT_NE(device->setFrameMode(SARVIK_STREAM_DEPTH, nullptr, false), 0);
  EXPECT_EQ(device->getCurrentFrameMode(SARVIK_STREAM_DEPTH)->modeValue1, 160);
  EXPECT_EQ(device->getCurrentFrameMode(SARVIK_STREAM_LIGHT_IR), nullptr);

  sarvik::StreamInterfaceBase* stream = nullptr;
  device->createStream(SARVIK_STREAM_LIGHT_IR, &stream);
  EXPECT_EQ(stream, nullptr);
  device->createStream(SARVIK_STREAM_DEPTH, &stream);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(stream->getFrameBufferSize(), 160u * 120u * 2u);
  device->destroyStream(&stream);
  EXPECT_EQ(stream, nullptr);
  driver->closeDevice(&device);
}

TEST(SimcamDeviceTest, DeviceTaskRecordsWhatItIsToldAndHoldsOnlyWhenAsked) {
  simcamtest::Camera cam("usb.0.location = bench-3\n");
  auto [pool, sink, driver, device] = cam.parts();
  ASSERT_NE(device, nullptr);
  sarvik::DeviceTaskBase* task = device->createTask();
  ASSERT_NE(task, nullptr);
  // The host deletes tasks after the device is closed.
  driver->closeDevice(&device);

  EXPECT_EQ(task->getLocation(), "bench-3");
  EXPECT_FALSE(task->isHolding());
  task->start(11, 12);
  task->notify(3, 1, 2, 4);
  task->onDeviceState("usb://sim/0", "SIM0U0000001", "bench-3", 1);
  task->control(kSimTaskSetHolding, 1, 0, 0);
  EXPECT_TRUE(task->isHolding());
  task->control(kSimTaskSetLocation, reinterpret_cast<uintptr_t>("elsewhere"), 0, 0);
  EXPECT_EQ(task->getLocation(), "elsewhere");

  SimTaskRecord record{};
  ASSERT_EQ(task->control(kSimTaskReadRecord, reinterpret_cast<uintptr_t>(&record), 0, 0), 0);
  EXPECT_EQ(record.startWords[1], 12u);
  EXPECT_EQ(record.notifyC, 3u);
  EXPECT_EQ(record.notifyD, 4u);
  EXPECT_STREQ(record.lastEventSerial, "SIM0U0000001");
  delete task;
}

}  // namespace
