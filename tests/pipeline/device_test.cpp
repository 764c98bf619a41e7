// Device: opening, closing, and the making of streams and their Sensors.
#include <gtest/gtest.h>

#include "camera_fixture.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"

namespace sarvik {
namespace {

using sarvik_test::CameraTest;
using sarvik_test::FakeDriver;

TEST_F(CameraTest, SecondCloseOnlyLogsAndAClosedDeviceMakesNoStream) {
  m_device->close();
  m_device->close();
  EXPECT_EQ(calls().count("closeDevice"), 1u);
  EXPECT_EQ(m_log.count(1, "Device not open"), 1u);
  EXPECT_EQ(m_device->m_device.load(), nullptr);
  setLastErrorCode(0);
  EXPECT_EQ(m_device->createStream(SARVIK_STREAM_DEPTH), nullptr);
  EXPECT_EQ(*lastErrorCell(), kErrInvalidDevice);
}

TEST_F(CameraTest, OpenByDescriptorTakesTheIdFromThePlugin) {
  FakeDriver driver;
  Device device(&driver);
  ASSERT_EQ(device.open2(1, 2, 9, "/dev/video9"), 0);
  EXPECT_EQ(device.m_deviceId, "id-from-plugin");
  EXPECT_TRUE(m_log.contains(1, "open device /dev/video9, fd:9, successfull "));
  device.close();
}

TEST_F(CameraTest, RefusedOpensReturnThePluginStatusAndLeaveTheDeviceClosed) {
  FakeDriver driver;
  driver.openStatus = -42;
  Device byAddress(&driver);
  EXPECT_EQ(byAddress.open("fake://2"), -42);
  EXPECT_FALSE(byAddress.m_opened.load());
  Device byDescriptor(&driver);
  EXPECT_EQ(byDescriptor.open2(1, 2, 5, "/dev/x"), -42);
  EXPECT_FALSE(byDescriptor.m_opened.load());
  EXPECT_TRUE(m_log.contains(4, "Open Device(/dev/x) Failed, fd(5), Return Code:-42"));
}

TEST_F(CameraTest, StreamsOfOneTypeShareASensorThatOutlivesThem) {
  VideoStream* a = makeStream(SARVIK_STREAM_DEPTH);
  VideoStream* b = makeStream(SARVIK_STREAM_DEPTH);
  VideoStream* colour = makeStream(SARVIK_STREAM_COLOR);
  ASSERT_TRUE(a && b && colour);
  EXPECT_EQ(a->m_sensor, b->m_sensor);
  EXPECT_NE(a->m_sensor, colour->m_sensor);
  EXPECT_EQ(a->m_sensor->m_sensorType, uint32_t{SARVIK_STREAM_DEPTH});
  Sensor* depth = a->m_sensor;
  destroy(a);
  destroy(b);
  EXPECT_EQ(makeStream(SARVIK_STREAM_DEPTH)->m_sensor, depth);
}

TEST_F(CameraTest, DisconnectedDeviceMakesNoStreamNorSensor) {
  camera().connectionState.store(1);
  setLastErrorCode(0);
  EXPECT_EQ(m_device->createStream(SARVIK_STREAM_IR), nullptr);
  EXPECT_EQ(*lastErrorCell(), kErrDeviceDisconnected);
  EXPECT_TRUE(m_log.contains(1, "Device disconnected, please check it"));
  EXPECT_EQ(m_device->m_sensors[SARVIK_STREAM_IR], nullptr);

  camera().connectionState.store(2);  // only 1 counts as gone here
  EXPECT_NE(makeStream(SARVIK_STREAM_IR), nullptr);
}

TEST_F(CameraTest, TypeBeyondTheSensorTableIsRefusedWithNothingTouched) {
  setLastErrorCode(0);
  m_log.clear();
  EXPECT_EQ(m_device->createStream(64), nullptr);
  EXPECT_EQ(m_device->createStream(0xFFFFFFFFu), nullptr);
  EXPECT_EQ(*lastErrorCell(), 0u);
  EXPECT_EQ(m_log.recordCount(), 0u);
  ASSERT_EQ(m_device->m_sensors.size(), 64u);
  for (Sensor* sensor : m_device->m_sensors) EXPECT_EQ(sensor, nullptr);
  EXPECT_NE(makeStream(63), nullptr);
}

// Only a device deleted while its device object is still set hands the
// stream objects back itself; after close they are the plug-in's business.
TEST_F(CameraTest, StreamObjectsGoBackOnlyThroughAnOpenDevice) {
  VideoStream* stream = makeStream(SARVIK_STREAM_DEPTH);
  ASSERT_EQ(stream->start(), 0);
  stream->stop();
  destroy(stream);
  m_device.reset(new Device(&m_driver));  // the old one had a device object
  EXPECT_EQ(calls().count("destroyStream"), 1u);
  ASSERT_EQ(m_device->open("fake://1"), 0);
  makeStream(SARVIK_STREAM_DEPTH)->start();
  m_streams.clear();
  m_device->close();
  m_device.reset(new Device(&m_driver));
  EXPECT_EQ(calls().count("destroyStream"), 1u);
}

}  // namespace
}  // namespace sarvik
