// Its own executable: the race is only there while no conversion has yet
// run in the process.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "imaging/coloured_cloud.h"
#include "imaging/imaging_reference.h"
#include "imaging/imaging_test_support.h"

namespace {

TEST(ColourBarFirstUse, RacingFirstConversionsAllSeeTheCompleteBar) {
  constexpr int kThreads = 4;
  constexpr uint32_t kWidth = 256;
  constexpr uint32_t kHeight = 64;
  // Every d from 1 to 16383 appears, so any entry read early would show.
  std::vector<uint16_t> depth(kWidth * kHeight);
  for (size_t i = 0; i < depth.size(); ++i) depth[i] = static_cast<uint16_t>(4 * (i % 16384));

  std::vector<std::vector<typedefSarvikPoint3D>> points(kThreads, std::vector<typedefSarvikPoint3D>(depth.size()));
  std::vector<std::vector<typedefSarvikRGBA>> colours(kThreads, std::vector<typedefSarvikRGBA>(depth.size()));
  std::atomic<bool> started{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!started) std::this_thread::yield();
      sarvik::convertDepthToColouredCloud(depth.data(), kWidth, kHeight, 1000.0f, 0, 0, 0, 0, points[t].data(),
                                          colours[t].data(), 3);
    });
  }
  started = true;
  for (std::thread& thread : threads) thread.join();

  std::vector<typedefSarvikPoint3D> expectedPoints(depth.size());
  std::vector<typedefSarvikRGBA> expectedColours(depth.size());
  imaging_reference::colouredCloud(depth.data(), kWidth, kHeight, 1000.0f, expectedPoints.data(),
                                   expectedColours.data(), 3, imaging_reference::colourBar());
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_TRUE(imaging_test::samePoints(expectedPoints, points[t])) << "thread " << t;
    EXPECT_TRUE(imaging_test::sameColours(expectedColours, colours[t])) << "thread " << t;
  }
}

}  // namespace
