// The pool's numbers: how far it grows, which frame it hands out next, and
// what a clearing does to frames that are still held.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "logging/log_bridge.h"
#include "pipeline/frame_allocator.h"
#include "pipeline/internal_frame.h"
#include "pool_probe.h"
#include "support/memory_log.h"

namespace sarvik {
namespace {

using sarvik_test::poolState;

class FrameAllocatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(bindLogDriverFrom(SARVIK_MEMORY_LOG_PATH), 0);
    m_log.clear();
    m_pool.setBufferSize(16);
  }

  // Allocates n frames and keeps them.
  std::vector<FrameRefPtr> hold(size_t n) {
    std::vector<FrameRefPtr> held;
    for (size_t i = 0; i < n; ++i) {
      held.push_back(m_pool.allocate());
      EXPECT_TRUE(held.back()) << "frame " << i;
    }
    return held;
  }

  sarvik_test::MemoryLog m_log;
  FrameAllocator m_pool;
};

// Frames released at once settle at three, one held at a time (the queue of
// depth 1) at four; either way the oldest free frame is handed out next.
TEST_F(FrameAllocatorTest, PoolSettlesAtThreePlusTheFramesHeld) {
  for (uint32_t heldAtOnce : {0u, 1u}) {
    SCOPED_TRACE(heldAtOnce);
    FrameAllocator pool;
    pool.setBufferSize(16);
    FrameRefPtr held;
    SarvikFrameRef* first = nullptr;
    for (uint32_t i = 0; i < 34; ++i) {
      FrameRefPtr frame = pool.allocate();
      if (i == 0) first = frame.get();
      if (i == 3 + heldAtOnce) {
        EXPECT_EQ(frame.get(), first);
      }
      if (heldAtOnce != 0) held = std::move(frame);
    }
    EXPECT_EQ(poolState(pool).created, 3u + heldAtOnce);
  }
}

// Ten held frames exhaust the pool, and free frames are reused only once
// three lie free.
TEST_F(FrameAllocatorTest, TenHeldFramesExhaustThePoolUntilThreeComeBack) {
  std::vector<FrameRefPtr> held = hold(10);
  EXPECT_FALSE(m_pool.allocate());
  EXPECT_EQ(m_log.count(3, "no available Frame!!!"), 1u);
  held[0].reset();
  held[1].reset();
  EXPECT_FALSE(m_pool.allocate()) << "8 held, 2 free";
  held[2].reset();
  EXPECT_TRUE(m_pool.allocate()) << "7 held, 3 free";
  held.clear();
  EXPECT_TRUE(m_pool.allocate());
  EXPECT_EQ(poolState(m_pool).created, 10u);
}

TEST_F(FrameAllocatorTest, UnchangedBufferSizeKeepsThePool) {
  std::vector<FrameRefPtr> held = hold(2);
  m_pool.allocate();
  m_pool.setBufferSize(16);
  EXPECT_TRUE(m_log.contains(1, "Buffer Size do not need change[16]"));
  const sarvik_test::PoolState state = poolState(m_pool);
  EXPECT_EQ(state.created, 3u);
  EXPECT_EQ(state.used, 2u);
  EXPECT_EQ(state.free, 1u);
}

// A held frame outlives the pool's rebuild: readable, no longer counted, and
// deleted by its last release (the sanitizers see a leak or a double free).
TEST_F(FrameAllocatorTest, HeldFrameSurvivesABufferSizeChangeOutsideTheNewPool) {
  std::vector<FrameRefPtr> held = hold(10);
  std::memset(held[0]->data, 0x5A, 16);
  held.resize(1);  // nine go back to the free list, one stays out
  m_pool.setBufferSize(32);
  EXPECT_TRUE(m_log.contains(1, "Change buffer Size from [16] to [32]"));
  EXPECT_EQ(poolState(m_pool).created, 0u);

  EXPECT_EQ(held[0]->bufferCapacity(), 16u);
  EXPECT_EQ(static_cast<unsigned char*>(held[0]->data)[15], 0x5A);
  std::vector<FrameRefPtr> fresh = hold(10);
  EXPECT_EQ(fresh[9]->bufferCapacity(), 32u);
  EXPECT_FALSE(m_pool.allocate());
  held.clear();
  EXPECT_EQ(poolState(m_pool).used, 10u) << "the old frame never returns to the new pool";
}

TEST_F(FrameAllocatorTest, FramesOfSizeZeroHaveNoBuffer) {
  m_pool.setBufferSize(0);
  FrameRefPtr frame = m_pool.allocate();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->data, nullptr);
  EXPECT_EQ(frame->bufferCapacity(), 0u);
  EXPECT_EQ(frame->dataSize, 0u);
}

// Plug-ins write the record through a pointer at byte 12 of the object.
TEST(InternalFrameLayout, RecordSitsAtByteTwelveOfTheFrameObject) {
  InternalFrame frame(nullptr);
  const char* object = reinterpret_cast<const char*>(static_cast<SarvikFrameRef*>(&frame));
  const char* record = reinterpret_cast<const char*>(static_cast<typedefSarvikFrame*>(&frame));
  EXPECT_EQ(reinterpret_cast<const char*>(&frame), object);
  EXPECT_EQ(record - object, 12);
  EXPECT_EQ(SarvikFrameRef::fromRecord(static_cast<typedefSarvikFrame*>(&frame)), &frame);
}

}  // namespace
}  // namespace sarvik
