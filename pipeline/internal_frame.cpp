#include "pipeline/internal_frame.h"

#include "logging/log_bridge.h"
#include "pipeline/frame_allocator.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {

InternalFrame::InternalFrame(FrameAllocator* allocator)
    : m_capacity(0), b_PoolCleared(false), m_allocator(allocator) {}

// The buffer goes with SarvikFrameRef; the has_slots base leaves the pool's
// signal, which only a frame still held by its pool is connected to.
InternalFrame::~InternalFrame() {}

void InternalFrame::release() {
  if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  // A frame that reads false here cannot be cleared before it is back on the
  // free list: clearFrames waits for frames at count 0 on its used list, so
  // the pool is alive for the call below. One that reads true was let go of
  // while pinned, and the pin's release ordered the flag before our count.
  if (b_PoolCleared.load(std::memory_order_acquire)) {
    delete this;
    return;
  }
  m_allocator->recycleFrame(this);
}

uint32_t InternalFrame::bufferCapacity() { return m_capacity; }

void InternalFrame::onPoolCleared() {
  logMessage(kLogFinest, "");
  b_PoolCleared.store(true, std::memory_order_release);
}

bool InternalFrame::addRefIfHeld() {
  int32_t count = m_refCount.load(std::memory_order_relaxed);
  while (count > 0) {
    if (m_refCount.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel,
                                         std::memory_order_relaxed)) {
      return true;
    }
  }
  return false;
}

}  // namespace sarvik
