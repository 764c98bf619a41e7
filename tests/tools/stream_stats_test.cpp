// Drops, rates and latencies as the `stream` subcommand reports them.
#include <gtest/gtest.h>

#include "tools/stream_stats.h"

namespace sarvik {
namespace tools {
namespace {

constexpr uint64_t kStart = 10000000;

TEST(StreamStatsTest, ForwardGapsInFrameNumbersCountAsDrops) {
  StreamStats stats(kStart);
  const uint32_t numbers[] = {5, 6, 9, 10, 14};
  for (uint32_t n : numbers) stats.onFrame(n, kStart, kStart + 100);
  const StreamFigures f = stats.total(kStart + 1000000);
  EXPECT_EQ(f.frames, 5u);
  EXPECT_EQ(f.dropped, 5u);
}

TEST(StreamStatsTest, CounterThatStartsAgainIsANewBaseNotALoss) {
  StreamStats stats(kStart);
  stats.onFrame(100, kStart, kStart);
  stats.onFrame(3, kStart, kStart);  // the plug-in's counter restarted
  stats.onFrame(4, kStart, kStart);
  stats.pause(kStart + 10);  // the camera went away and came back
  stats.resume(kStart + 20);
  stats.onFrame(90, kStart, kStart);
  stats.onFrame(92, kStart, kStart);
  EXPECT_EQ(stats.total(kStart + 30).dropped, 1u);
}

TEST(StreamStatsTest, TimeWithoutTheCameraDoesNotLowerTheRunsRate) {
  StreamStats stats(kStart);
  for (uint32_t i = 0; i < 30; ++i) stats.onFrame(i, kStart, kStart + i * 33333);
  stats.pause(kStart + 1000000);
  stats.resume(kStart + 4000000);
  for (uint32_t i = 0; i < 30; ++i) stats.onFrame(i, kStart, kStart + 4000000 + i * 33333);
  // The first window after the return covers streaming time only.
  EXPECT_DOUBLE_EQ(stats.takeWindow(kStart + 5000000).fps(), 30.0);
  EXPECT_DOUBLE_EQ(stats.total(kStart + 5000000).fps(), 30.0);
  // Ending while the camera is away counts up to the moment it went.
  stats.pause(kStart + 5000000);
  EXPECT_DOUBLE_EQ(stats.total(kStart + 9000000).fps(), 30.0);
}

TEST(StreamStatsTest, WindowStartsAfreshWhileTheTotalKeepsEverything) {
  StreamStats stats(kStart);
  for (uint32_t i = 0; i < 30; ++i) stats.onFrame(i, kStart + i * 33333, kStart + i * 33333 + 500 + i);
  const StreamFigures first = stats.takeWindow(kStart + 1000000);
  EXPECT_EQ(first.frames, 30u);
  EXPECT_DOUBLE_EQ(first.fps(), 30.0);
  EXPECT_EQ(first.medianLatencyUs, 515);
  EXPECT_EQ(first.maxLatencyUs, 529);

  stats.onFrame(31, kStart + 1100000, kStart + 1102000);
  const StreamFigures second = stats.takeWindow(kStart + 1500000);
  EXPECT_EQ(second.frames, 1u);
  EXPECT_EQ(second.dropped, 1u);
  EXPECT_DOUBLE_EQ(second.seconds, 0.5);
  EXPECT_EQ(second.medianLatencyUs, 2000);

  const StreamFigures total = stats.total(kStart + 2000000);
  EXPECT_EQ(total.frames, 31u);
  EXPECT_EQ(total.maxLatencyUs, 2000);
  EXPECT_DOUBLE_EQ(total.fps(), 15.5);
}

TEST(StreamStatsTest, EmptyWindowHasNoRateAndAStampAheadOfArrivalANegativeLatency) {
  StreamStats stats(kStart);
  const StreamFigures f = stats.takeWindow(kStart);
  EXPECT_EQ(f.frames, 0u);
  EXPECT_EQ(f.fps(), 0.0);
  EXPECT_EQ(f.medianLatencyUs, 0);
  stats.onFrame(0, kStart + 5000, kStart + 1000);
  EXPECT_EQ(stats.total(kStart + 1).maxLatencyUs, -4000);
}

}  // namespace
}  // namespace tools
}  // namespace sarvik
