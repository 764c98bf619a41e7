// Sensor: one plug-in stream object shared by all streams of a type, started
// for the first of them and stopped after the last.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "camera_fixture.h"
#include "pool_probe.h"

namespace sarvik {
namespace {

using sarvik_test::allFramesHome;
using sarvik_test::CameraTest;
using sarvik_test::poolState;
using Calls = std::vector<std::string>;

constexpr uint32_t kDepth = SARVIK_STREAM_DEPTH;

// Takes the front frame off a stream's queue and reads its stamp.
uint64_t takeStamp(VideoStream* stream) {
  FrameRefPtr frame;
  if (stream->getFrame(frame, true) != 0) return 0;
  return frame->frameStamp;
}

TEST_F(CameraTest, FirstStartCallsThePluginInTheBindingOrder) {
  VideoStream* stream = makeStream(kDepth);
  ASSERT_EQ(stream->start(), 0);
  EXPECT_EQ(calls().calls(), (Calls{"openDevice(fake://1)", "createStream(2)", "setNewFrameCallback",
                                    "getFrameBufferSize", "setFrameAllocator", "start"}));
  EXPECT_TRUE(stream->m_sensor->b_Started.load());
  EXPECT_EQ(m_device->m_sensorStarted[kDepth], 1);
  EXPECT_TRUE(m_log.contains(1, "get frame buffer size=64"));
  EXPECT_TRUE(m_log.contains(1, "2 Sensor started"));
  stream->stop();
  EXPECT_EQ(m_device->m_sensorStarted[kDepth], 0);
}

TEST_F(CameraTest, SecondStreamJoinsWithoutPluginCallsAndThePluginRunsUntilTheLastStops) {
  VideoStream* a = makeStream(kDepth);
  VideoStream* b = makeStream(kDepth);
  ASSERT_EQ(a->start(), 0);
  cameraStream(kDepth).deliver(1);
  calls().clear();
  ASSERT_EQ(b->start(), 0);
  EXPECT_TRUE(calls().calls().empty());
  EXPECT_EQ(b->m_sensor->m_startCount, 2u);
  EXPECT_EQ(takeStamp(b), 0u) << "frames from before its start are not its own";

  cameraStream(kDepth).deliver(2);
  EXPECT_EQ(takeStamp(a), 2u);
  EXPECT_EQ(takeStamp(b), 2u);

  // The plug-in runs until the last stream stops.
  a->stop();
  EXPECT_EQ(calls().count("stop"), 0u);
  cameraStream(kDepth).deliver(3);
  EXPECT_EQ(takeStamp(b), 3u);
  b->stop();
  EXPECT_EQ(calls().count("stop"), 1u);
  EXPECT_FALSE(b->m_sensor->b_Started.load());
}

TEST_F(CameraTest, RestartReusesTheStreamObjectInItsLastModeIfItHasOne) {
  VideoStream* stream = makeStream(kDepth);
  stream->start();
  for (int i = 0; i < 5; ++i) cameraStream(kDepth).deliver();
  stream->stop();
  const sarvik_test::PoolState before = poolState(pool(stream));
  destroy(stream);
  stream = makeStream(kDepth);
  calls().clear();

  ASSERT_EQ(stream->start(), 0);
  EXPECT_EQ(calls().calls(), (Calls{"getCurrentFrameMode(2)", "setFrameMode(2,restart=1)", "setNewFrameCallback",
                                    "getFrameBufferSize", "setFrameAllocator", "start"}));
  EXPECT_EQ(poolState(pool(stream)).created, before.created) << "same size: the pool keeps its frames";
  cameraStream(kDepth).deliver(9);
  EXPECT_EQ(takeStamp(stream), 9u);

  stream->stop();
  camera().hasMode.store(false);
  calls().clear();
  ASSERT_EQ(stream->start(), 0);
  EXPECT_EQ(calls().count("getCurrentFrameMode(2)"), 1u);
  EXPECT_EQ(calls().count("setFrameMode(2,restart=1)"), 0u);
  EXPECT_EQ(calls().count("start"), 1u);
}

TEST_F(CameraTest, NewBufferSizeTakesEffectAtTheNextFirstStart) {
  VideoStream* stream = makeStream(kDepth);
  stream->start();
  cameraStream(kDepth).deliver();
  cameraStream(kDepth).bufferSize.store(128);
  cameraStream(kDepth).deliver();
  EXPECT_EQ(pool(stream).getBufferSize(), 64u);
  stream->stop();
  stream->start();
  EXPECT_EQ(pool(stream).getBufferSize(), 128u);
  EXPECT_EQ(poolState(pool(stream)).created, 0u);
  cameraStream(kDepth).deliver();
  FrameRefPtr frame;
  ASSERT_EQ(stream->getFrame(frame, false), 0);
  EXPECT_EQ(frame->bufferCapacity(), 128u);
}

TEST_F(CameraTest, MissingStreamObjectFailsTheStartAndKeepsTheCount) {
  camera().failCreateStream.store(true);
  VideoStream* a = makeStream(kDepth);
  VideoStream* b = makeStream(kDepth);
  EXPECT_EQ(a->start(), -8);
  EXPECT_TRUE(m_log.contains(3, "Created driver stream failed!"));
  EXPECT_TRUE(a->b_Started.load()) << "stays started until stopped";
  EXPECT_EQ(b->start(), 0);
  EXPECT_EQ(calls().count("createStream(2)"), 1u);
  a->stop();
  b->stop();
  EXPECT_EQ(a->m_sensor->m_startCount, 0u);

  camera().failCreateStream.store(false);
  EXPECT_EQ(a->start(), 0);
  EXPECT_EQ(calls().count("createStream(2)"), 2u);
}

TEST_F(CameraTest, FailedPluginStartReturnsItsStatusAndStarvesLaterStreams) {
  VideoStream* a = makeStream(kDepth);
  VideoStream* b = makeStream(kDepth);
  a->start();
  a->stop();
  cameraStream(kDepth).startStatus.store(-77);
  calls().clear();
  EXPECT_EQ(a->start(), -77);
  EXPECT_FALSE(a->m_sensor->b_Started.load());
  EXPECT_EQ(b->start(), 0);
  EXPECT_EQ(calls().count("start"), 1u);

  a->stop();
  b->stop();
  cameraStream(kDepth).startStatus.store(0);
  EXPECT_EQ(b->start(), 0);
  EXPECT_TRUE(b->m_sensor->b_Started.load());
}

TEST_F(CameraTest, FrameWithNoStartedStreamGoesStraightBackToThePool) {
  VideoStream* stream = makeStream(kDepth);
  stream->start();
  cameraStream(kDepth).deliverAfterStop.store(true);
  stream->stop();
  EXPECT_EQ(cameraStream(kDepth).delivered.load(), 1u);
  EXPECT_TRUE(allFramesHome(pool(stream)));
}

TEST_F(CameraTest, FrameSharedByThreeStreamsReturnsAfterTheLastReference) {
  VideoStream* streams[3] = {makeStream(kDepth), makeStream(kDepth), makeStream(kDepth)};
  for (VideoStream* stream : streams) stream->start();
  cameraStream(kDepth).deliver(5);
  FrameRefPtr taken[3];
  for (int i = 0; i < 3; ++i) ASSERT_EQ(streams[i]->getFrame(taken[i], true), 0);
  EXPECT_EQ(taken[0].get(), taken[2].get());
  taken[0].reset();
  taken[1].reset();
  EXPECT_EQ(poolState(pool(streams[0])).used, 1u);
  taken[2].reset();
  EXPECT_TRUE(allFramesHome(pool(streams[0])));
}

}  // namespace
}  // namespace sarvik
