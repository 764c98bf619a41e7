// Reads a frame pool's counters under its lock, for assertions.
#ifndef SARVIK_TESTS_PIPELINE_POOL_PROBE_H
#define SARVIK_TESTS_PIPELINE_POOL_PROBE_H

#include <cstdint>

#include "pipeline/frame_allocator.h"
#include "pipeline/internal_frame.h"
#include "platform/critical_section_wrapper.h"

namespace sarvik_test {

struct PoolState {
  uint32_t created;  // m_frameCount
  uint32_t free;
  uint32_t used;
  bool clearedFrameOnFreeList;
};

inline PoolState poolState(sarvik::FrameAllocator& pool) {
  sarvik::ScopedLock lock(pool.m_lock);
  PoolState state{pool.m_frameCount, pool.m_freeFrames.size(), pool.m_usedFrames.size(), false};
  for (sarvik::InternalFrame* frame : pool.m_freeFrames) {
    state.clearedFrameOnFreeList = state.clearedFrameOnFreeList || frame->b_PoolCleared.load();
  }
  return state;
}

// Every frame the pool made since its last clearing is back on its free list.
inline bool allFramesHome(sarvik::FrameAllocator& pool) {
  const PoolState state = poolState(pool);
  return state.used == 0 && state.free == state.created && !state.clearedFrameOnFreeList;
}

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_PIPELINE_POOL_PROBE_H
