// Races that only show under load, run under TSan and ASan: a pool cleared
// while other threads drop their last references, and a camera delivering
// while streams of its sensor start and stop on their own threads.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "camera_fixture.h"
#include "pipeline/frame_allocator.h"
#include "pipeline/internal_frame.h"
#include "pool_probe.h"

namespace sarvik {
namespace {

using sarvik_test::allFramesHome;
using sarvik_test::poolState;

// Every frame ends deleted (else the sanitizers object) or back on the free
// list unflagged, never mid-release on the pool's own lists.
TEST(PoolStress, ClearingRacesLastReleases) {
  unbindLogDriver();
  FrameAllocator pool;
  for (int round = 0; round < 2000; ++round) {
    pool.setBufferSize(8 + (round % 2) * 8);
    std::vector<FrameRefPtr> left;
    std::vector<FrameRefPtr> right;
    for (int i = 0; i < 8; ++i) (i % 2 ? left : right).push_back(pool.allocate());
    std::atomic<int> ready{0};
    auto dropAll = [&ready](std::vector<FrameRefPtr>* frames) {
      ready.fetch_add(1);
      while (ready.load() < 3) std::this_thread::yield();
      for (FrameRefPtr& frame : *frames) frame.reset();
    };
    std::thread a(dropAll, &left);
    std::thread b(dropAll, &right);
    ready.fetch_add(1);
    while (ready.load() < 3) std::this_thread::yield();
    pool.clearFrames();
    a.join();
    b.join();
    ASSERT_TRUE(allFramesHome(pool)) << "round " << round;
  }
}

class DeliveryStress : public sarvik_test::CameraTest {
 protected:
  bool bindLog() const override { return false; }
};

// Each thread owns its streams, as the application must; the camera thread
// and late frames after the camera's stop run against all of them.
TEST_F(DeliveryStress, DeliveryRacesStreamsStartingAndStopping) {
  constexpr uint32_t kDepth = SARVIK_STREAM_DEPTH;
  constexpr int kThreads = 3;
  constexpr int kRounds = 150;
  VideoStream* first = makeStream(kDepth);
  ASSERT_EQ(first->start(), 0);
  cameraStream(kDepth).deliverOnThread.store(true);
  cameraStream(kDepth).deliverAfterStop.store(true);
  first->stop();

  std::vector<VideoStream*> streams;
  for (int i = 0; i < kThreads; ++i) streams.push_back(makeStream(kDepth));
  std::atomic<int> callbacks{0};
  auto onFrame = [](VideoStream*, typedefSarvikFrame* frame, void* user) {
    static_cast<std::atomic<int>*>(user)->fetch_add(1);
    SarvikFrameRef::fromRecord(frame)->release();
  };
  auto run = [&](int index) {
    VideoStream* stream = streams[index];
    for (int round = 0; round < kRounds; ++round) {
      if (index == 0 && round % 2 == 0) stream->setFrameCallback(onFrame, &callbacks);
      ASSERT_EQ(stream->start(), 0);
      FrameRefPtr frames[3];
      for (FrameRefPtr& frame : frames) {
        stream->getFrame(frame, round % 3 != 0);
        std::this_thread::yield();
      }
      // Not on the callback stream: its frames never wake a peek, which would
      // only sit out its 1000 ms.
      if (index != 0 && round % 5 == 0) {
        FrameRefPtr peek;
        stream->getFrameWait(peek);
      }
      stream->stop();
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(run, i);
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(streams[0]->m_sensor->m_startCount, 0u);
  EXPECT_GT(cameraStream(kDepth).delivered.load(), 0u);
  EXPECT_TRUE(allFramesHome(pool(first)));
  EXPECT_LE(poolState(pool(first)).created, kMaxPoolFrames);
}

}  // namespace
}  // namespace sarvik
