// Frame delivery: numbering, rate, contents, lost images, and the promise
// that nothing is delivered once stop or closeDevice has returned.
#include <gtest/gtest.h>

#include "plugins/simcam/sim_frame_mode.h"
#include "plugins/simcam/sim_protocol.h"
#include "simcam_harness.h"

namespace {

using simcamtest::Driver;
using simcamtest::FakeAllocator;
using simcamtest::FrameInfo;
using simcamtest::FrameSink;
using simcamtest::Plugin;
using simcamtest::TempDir;

SimSensorStatus sensorStatus(sarvik::DeviceInterfaceBase* device, int slot) {
  SimDeviceStatus status{};
  status.size = sizeof status;
  device->queryData(&status);
  return status.sensors[slot];
}

TEST(SimcamFramesTest, DepthFramesComeNumberedInOrderAtTheModeRate) {
  simcamtest::Camera cam("modes.depth = 160x120@30\n");
  auto [pool, sink, driver, device] = cam.parts();
  sarvik::StreamInterfaceBase* stream = simcamtest::startStream(device, SARVIK_STREAM_DEPTH, pool, sink);
  ASSERT_NE(stream, nullptr);
  ASSERT_TRUE(sink.waitFor(31));
  stream->stop();

  std::vector<FrameInfo> frames = sink.frames();
  for (size_t i = 0; i < frames.size(); ++i) {
    const FrameInfo& f = frames[i];
    ASSERT_EQ(f.number, i);
    EXPECT_EQ(f.streamType, uint32_t{SARVIK_STREAM_DEPTH});
    EXPECT_EQ(f.pixelType, uint32_t{kSimPixelDepth16});
    EXPECT_EQ(f.width, 160u);
    EXPECT_EQ(f.height, 120u);
    EXPECT_EQ(f.dataSize, 160u * 120u * 2u);
    EXPECT_LE(f.dataSize, f.capacity);
    // Millimetres with two fractional bits: a wall and a ball, nothing else.
    EXPECT_GE(f.minSample, 800u * 4u);
    EXPECT_LE(f.maxSample, 2300u * 4u);
    EXPECT_GT(f.maxSample - f.minSample, 400u * 4u);
    if (i > 0) {
      EXPECT_GT(f.stamp, frames[i - 1].stamp);
    }
  }
  // Deadlines never come early: 30 intervals at 30 a second take a second.
  // Only this lower bound is safe to test; a slow machine may take longer.
  EXPECT_GE(frames[30].stamp - frames[0].stamp, 900000u);
  SimSensorStatus status = sensorStatus(device, 1);
  EXPECT_EQ(status.produced, status.delivered + status.dropped);
  EXPECT_EQ(pool.m_live.load(), 0);  // the plug-in keeps no reference after the callback
  driver->closeDevice(&device);
}

TEST(SimcamFramesTest, ColourAndInfraredFramesCarryTheirOwnFormats) {
  TempDir dir;
  dir.write("simcam.conf", "modes.color = 64x48@30\nmodes.ir = 64x48@30:y8, 32x24@30:y16\nmodes.lightir = 16x16@30\n");
  Plugin plugin(dir);
  FakeAllocator colourPool, irPool, lightPool;
  FrameSink colour, ir, light;
  Driver driver(plugin);
  sarvik::DeviceInterfaceBase* device = driver.open("usb://sim/0");
  SimFrameMode irModes[2];
  uint32_t count = 2;
  device->getFrameModeList(SARVIK_STREAM_IR, reinterpret_cast<uintptr_t>(irModes), reinterpret_cast<uintptr_t>(&count));
  ASSERT_EQ(device->setFrameMode(SARVIK_STREAM_IR, &irModes[1].mode, false), 0);

  ASSERT_NE(simcamtest::startStream(device, SARVIK_STREAM_COLOR, colourPool, colour), nullptr);
  ASSERT_NE(simcamtest::startStream(device, SARVIK_STREAM_IR, irPool, ir), nullptr);
  ASSERT_NE(simcamtest::startStream(device, SARVIK_STREAM_LIGHT_IR, lightPool, light), nullptr);
  ASSERT_TRUE(colour.waitFor(2));
  ASSERT_TRUE(ir.waitFor(2));
  ASSERT_TRUE(light.waitFor(2));
  driver->closeDevice(&device);

  FrameInfo c = colour.frames()[0], i = ir.frames()[0], l = light.frames()[0];
  EXPECT_EQ(c.pixelType, 0u);
  EXPECT_EQ(c.dataSize, 64u * 48u * 3u);
  EXPECT_EQ(c.streamType, uint32_t{SARVIK_STREAM_COLOR});
  EXPECT_GT(c.maxSample, 0u);
  EXPECT_EQ(i.pixelType, uint32_t{kSimPixelGray16});
  EXPECT_EQ(i.dataSize, 32u * 24u * 2u);
  EXPECT_GT(i.maxSample, 255u);  // really 16 bits wide
  EXPECT_EQ(l.pixelType, uint32_t{kSimPixelGray8});
  EXPECT_EQ(l.dataSize, 16u * 16u);
  EXPECT_EQ(l.streamType, uint32_t{SARVIK_STREAM_LIGHT_IR});
}

TEST(SimcamFramesTest, RefusedAllocationsAreCountedAndLeaveGapsInTheNumbers) {
  simcamtest::Camera cam("modes.depth = 32x24@60\n");
  auto [pool, sink, driver, device] = cam.parts();
  pool.m_failEvery = 3;
  sarvik::StreamInterfaceBase* stream = simcamtest::startStream(device, SARVIK_STREAM_DEPTH, pool, sink);
  ASSERT_NE(stream, nullptr);
  ASSERT_TRUE(sink.waitFor(10));
  stream->stop();

  std::vector<FrameInfo> frames = sink.frames();
  for (const FrameInfo& f : frames) EXPECT_NE(f.number % 3, 2u) << "the third call of each three gives null";
  SimSensorStatus status = sensorStatus(device, 1);
  EXPECT_EQ(status.delivered, frames.size());
  EXPECT_EQ(status.dropped, pool.m_calls / 3);
  EXPECT_EQ(status.produced, pool.m_calls.load());
  driver->closeDevice(&device);
}

TEST(SimcamFramesTest, AFrameTooSmallForTheImageIsDroppedNotOverrun) {
  simcamtest::Camera cam("modes.depth = 32x24@60\n");
  auto [pool, sink, driver, device] = cam.parts();
  sarvik::StreamInterfaceBase* stream = simcamtest::startStream(device, SARVIK_STREAM_DEPTH, pool, sink);
  ASSERT_NE(stream, nullptr);
  stream->stop();
  pool.setBufferSize(32 * 24 * 2 - 1);
  size_t before = sink.count();
  ASSERT_EQ(stream->start(), 0);
  auto limit = std::chrono::steady_clock::now() + simcamtest::kPatience;
  while (sensorStatus(device, 1).dropped < 3 && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
  EXPECT_GE(sensorStatus(device, 1).dropped, 3u);
  stream->stop();
  EXPECT_EQ(sink.count(), before);
  driver->closeDevice(&device);
}

TEST(SimcamFramesTest, NothingIsDeliveredOrAllocatedAfterStopOrCloseReturns) {
  TempDir dir;
  // Flat out keeps the threads busy; the second camera's frames serve as a
  // clock that shows time has passed.
  dir.write("simcam.conf", "usb.cameras = 2\nmodes.depth = 32x24@0\nmodes.color = 32x24@0\n");
  Plugin plugin(dir);
  FakeAllocator depthPool, colourPool, clockPool;
  FrameSink depth, colour, clock;
  Driver driver(plugin);
  sarvik::DeviceInterfaceBase* device = driver.open("usb://sim/0");
  sarvik::DeviceInterfaceBase* other = driver.open("usb://sim/1");
  sarvik::StreamInterfaceBase* depthStream = simcamtest::startStream(device, SARVIK_STREAM_DEPTH, depthPool, depth);
  ASSERT_NE(depthStream, nullptr);
  ASSERT_NE(simcamtest::startStream(device, SARVIK_STREAM_COLOR, colourPool, colour), nullptr);
  ASSERT_NE(simcamtest::startStream(other, SARVIK_STREAM_DEPTH, clockPool, clock), nullptr);
  ASSERT_TRUE(depth.waitFor(20));
  ASSERT_TRUE(colour.waitFor(20));

  depthStream->stop();
  depth.close();
  depthPool.m_closed = true;
  ASSERT_TRUE(colour.waitFor(colour.count() + 20));  // the device's other sensor goes on
  EXPECT_EQ(depth.late(), 0u);
  EXPECT_EQ(depthPool.m_callsAfterClose.load(), 0u);

  // A new start continues the stream object's numbering.
  depth.reopen();
  size_t stoppedAt = depth.count();
  ASSERT_EQ(depthStream->start(), 0);
  ASSERT_TRUE(depth.waitFor(stoppedAt + 1));
  EXPECT_EQ(depth.frames()[stoppedAt].number, depth.frames()[stoppedAt - 1].number + 1);

  driver->closeDevice(&device);
  depth.close();
  colour.close();
  depthPool.m_callsAfterClose = 0;
  colourPool.m_closed = true;
  ASSERT_TRUE(clock.waitFor(clock.count() + 20));
  EXPECT_EQ(depth.late() + colour.late(), 0u);
  EXPECT_EQ(colourPool.m_callsAfterClose + depthPool.m_callsAfterClose, 0u);
  driver->closeDevice(&other);
}

TEST(SimcamFramesTest, AModeSetWhileRunningTakesEffectAtTheNextStart) {
  simcamtest::Camera cam("modes.depth = 32x24@60, 16x12@60\n");
  auto [pool, sink, driver, device] = cam.parts();
  sarvik::StreamInterfaceBase* stream = simcamtest::startStream(device, SARVIK_STREAM_DEPTH, pool, sink);
  ASSERT_NE(stream, nullptr);
  ASSERT_TRUE(sink.waitFor(1));

  typedefSarvikFrameMode smaller = SimFrameMode().mode;
  smaller.modeValue1 = 16;
  smaller.modeValue3 = 12;
  smaller.modeValue4 = kSimPixelDepth16;
  smaller.modeValue2 = 60;
  ASSERT_EQ(device->setFrameMode(SARVIK_STREAM_DEPTH, &smaller, false), 0);
  size_t seen = sink.count();
  ASSERT_TRUE(sink.waitFor(seen + 2));
  EXPECT_EQ(sink.frames()[seen + 1].width, 32u);

  stream->stop();
  EXPECT_EQ(stream->getFrameBufferSize(), 16u * 12u * 2u);
  pool.setBufferSize(stream->getFrameBufferSize());
  seen = sink.count();
  ASSERT_EQ(stream->start(), 0);
  ASSERT_TRUE(sink.waitFor(seen + 1));
  EXPECT_EQ(sink.frames()[seen].width, 16u);
  driver->closeDevice(&device);
}

TEST(SimcamFramesTest, FlatOutKeyIgnoresTheFrameRate) {
  simcamtest::Camera cam("modes.depth = 16x12@1\nflatout = yes\npixels = none\n");
  auto [pool, sink, driver, device] = cam.parts();
  ASSERT_NE(simcamtest::startStream(device, SARVIK_STREAM_DEPTH, pool, sink), nullptr);
  // At the mode's one frame a second this would take a minute.
  EXPECT_TRUE(sink.waitFor(60, std::chrono::seconds(30)));
  driver->closeDevice(&device);
}

}  // namespace
