// The one concrete frame: a public record, its buffer and its count, made by
// a FrameAllocator and given back to it at count 0 while the pool still holds
// it. A frame the pool has let go of (b_PoolCleared) deletes itself instead.
#ifndef SARVIK_PIPELINE_INTERNAL_FRAME_H
#define SARVIK_PIPELINE_INTERNAL_FRAME_H

#include <atomic>
#include <cstdint>

#include "platform/sigslot.h"
#include "sarvik/SarvikFrame.h"

namespace sarvik {

class FrameAllocator;

class InternalFrame : public SarvikFrameRef, public sigslot::has_slots<sigslot::single_threaded> {
 public:
  // Count 0, no buffer; the allocator fills in data and m_capacity.
  explicit InternalFrame(FrameAllocator* allocator);
  ~InternalFrame() override;

  InternalFrame(const InternalFrame&) = delete;
  InternalFrame& operator=(const InternalFrame&) = delete;

  // At count 0: deletes the frame when the pool has let go of it, otherwise
  // hands it back to m_allocator. Any thread.
  void release() override;
  uint32_t bufferCapacity() override;

  // Slot on the allocator's m_poolCleared. Runs with the pool's lock held.
  void onPoolCleared();

  // Takes one more reference, but only while somebody still holds one: a
  // frame whose count has already reached 0 is on its way back to the pool
  // and must not be claimed. True when the reference was taken.
  bool addRefIfHeld();

  uint32_t m_capacity;
  // Written under the pool's lock while the frame is pinned (see
  // FrameAllocator::clearFrames); read without a lock by release().
  std::atomic<bool> b_PoolCleared;
  FrameAllocator* m_allocator;  // not owned
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_INTERNAL_FRAME_H
