// The bounded frame pool of one sensor. It grows to at most m_maxFrames
// frames, reuses them oldest release first, and holds a few back from reuse:
// a frame that came back is handed out again only once m_minFreeFrames - 1
// frames lie free. So a pool whose frames all come back at once settles at 3
// frames, one behind a depth-1 queue at 4. It never blocks: with nothing to
// give, allocate() returns a null pointer and the image is lost.
//
// Frame ownership: the pool owns the frames on m_freeFrames. Frames on
// m_usedFrames are owned by their references; the entries hold none.
// clearFrames() lets go of the used ones, which then delete themselves at
// count 0 (see InternalFrame::release), and deletes the free ones.
#ifndef SARVIK_PIPELINE_FRAME_ALLOCATOR_H
#define SARVIK_PIPELINE_FRAME_ALLOCATOR_H

#include <cstdint>

#include "pipeline/bounded_list.h"
#include "platform/sigslot.h"
#include "sarvik/SarvikFrame.h"

namespace sarvik {

class CriticalSectionWrapper;
class InternalFrame;

// m_maxFrames is fixed at this value, and no list can hold more frames than
// the pool has created since its last clearing.
constexpr uint32_t kMaxPoolFrames = 10;

class FrameAllocator : public FrameAllocatorInterfaceBase {
 public:
  typedef BoundedList<InternalFrame*, kMaxPoolFrames> FrameList;

  FrameAllocator();
  // Clears the pool; frames still referenced elsewhere live on by themselves.
  ~FrameAllocator();

  FrameAllocator(const FrameAllocator&) = delete;
  FrameAllocator& operator=(const FrameAllocator&) = delete;

  // The plug-in's call, on its delivery thread: a frame holding exactly the
  // returned reference, or null. The record is not cleared. Allocates memory
  // only while the pool grows.
  FrameRefPtr allocate() override;
  uint32_t getBufferSize() override;
  // Rebuilds the pool when the size changes. REQUIRES: the plug-in is not
  // delivering from this pool (it runs before the stream object is started).
  void setBufferSize(uint32_t size) override;

  // Called by InternalFrame::release at count 0 while the pool holds the frame.
  void recycleFrame(InternalFrame* frame);
  // Lets go of every frame. May run while other threads drop their last
  // references; returns once no frame of the pool is between its count
  // reaching 0 and its return to the free list.
  void clearFrames();
  // One new frame with a zeroed buffer of m_bufferSize bytes, or null when the
  // buffer cannot be had. REQUIRES: m_lock held.
  InternalFrame* createFrame();

  // Connected to every frame made since the last clearing; changed only under
  // m_lock, as the policy gives it no lock of its own.
  sigslot::signal0<sigslot::single_threaded> m_poolCleared;
  uint32_t m_bufferSize;           // written under m_lock
  const uint32_t m_minFreeFrames;  // 4: reuse needs 3 free frames
  const uint32_t m_maxFrames;      // 10
  uint32_t m_frameCount;           // guarded by m_lock
  FrameList m_freeFrames;          // guarded by m_lock; oldest release first
  FrameList m_usedFrames;          // guarded by m_lock
  CriticalSectionWrapper* m_lock;

 private:
  // REQUIRES: m_lock held. Pins every used frame that still has a holder;
  // false while one has none yet, i.e. is on its way back to the free list.
  bool pinUsedFrames(FrameList* pinned);
  // REQUIRES: m_lock held and every used frame pinned.
  void letGoOfFrames();
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_FRAME_ALLOCATOR_H
