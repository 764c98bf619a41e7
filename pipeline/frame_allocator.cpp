#include "pipeline/frame_allocator.h"

#include <cstdlib>
#include <cstring>
#include <thread>

#include "logging/log_bridge.h"
#include "pipeline/internal_frame.h"
#include "platform/critical_section_impl.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {

namespace {
constexpr uint32_t kDefaultBufferSize = 624640;
}  // namespace

FrameAllocator::FrameAllocator()
    : m_bufferSize(kDefaultBufferSize),
      m_minFreeFrames(4),
      m_maxFrames(kMaxPoolFrames),
      m_frameCount(0),
      m_lock(new CriticalSectionImpl()) {}

FrameAllocator::~FrameAllocator() {
  clearFrames();
  delete m_lock;
}

FrameRefPtr FrameAllocator::allocate() {
  FrameRefPtr result;
  ScopedLock lock(m_lock);
  InternalFrame* frame = nullptr;
  if (!m_freeFrames.empty() && m_freeFrames.size() >= m_minFreeFrames - 1) {
    frame = m_freeFrames.popFront();
  } else if (m_frameCount < m_maxFrames) {
    ++m_frameCount;  // stays raised on a failed buffer until the next clearing
    frame = createFrame();
    if (frame == nullptr) return result;
    m_poolCleared.connect(frame, &InternalFrame::onPoolCleared);
  } else {
    logMessage(kLogError, "no available Frame!!!");
    return result;
  }
  m_usedFrames.pushBack(frame);
  result = frame;  // the frame's one reference, now the caller's
  return result;
}

uint32_t FrameAllocator::getBufferSize() {
  ScopedLock lock(m_lock);
  return m_bufferSize;
}

void FrameAllocator::setBufferSize(uint32_t size) {
  if (size == m_bufferSize) {
    logMessage(kLogTrace, "Buffer Size do not need change[%d]", size);
    return;
  }
  logMessage(kLogTrace, "Change buffer Size from [%d] to [%d]", m_bufferSize, size);
  clearFrames();
  ScopedLock lock(m_lock);
  m_bufferSize = size;
}

void FrameAllocator::recycleFrame(InternalFrame* frame) {
  ScopedLock lock(m_lock);
  m_usedFrames.removeAll(frame);
  m_freeFrames.pushBack(frame);
}

// A frame whose count reaches 0 while the pool is being cleared must end up
// either deleted or reusable, and must never touch a pool that is gone. So
// the clearing first pins every used frame with a reference of its own, under
// m_lock. A used frame already at count 0 cannot be pinned: its releaser is
// on its way to recycleFrame, so we let go of the lock until it has arrived.
// Only when all used frames are pinned is the flag set, still under m_lock;
// a pinned frame's last release then sees the flag and deletes itself without
// coming back here. The signal is emptied under the same lock, so no orphan
// ever disconnects from it later, and its list is only ever changed under
// m_lock. The emission therefore runs under the lock rather than before it.
void FrameAllocator::clearFrames() {
  logMessage(kLogFinest, "");
  FrameList pinned;
  for (;;) {
    {
      ScopedLock lock(m_lock);
      if (pinUsedFrames(&pinned)) {
        letGoOfFrames();
        break;
      }
    }
    std::this_thread::yield();  // a releaser is a few instructions from recycleFrame
  }
  // The pins go last, outside the lock: a frame whose holders are all gone
  // by now is deleted right here.
  for (InternalFrame* frame : pinned) frame->release();
}

bool FrameAllocator::pinUsedFrames(FrameList* pinned) {
  bool allPinned = true;
  for (InternalFrame* frame : m_usedFrames) {
    if (pinned->contains(frame)) continue;
    if (frame->addRefIfHeld()) {
      pinned->pushBack(frame);
    } else {
      allPinned = false;
    }
  }
  return allPinned;
}

void FrameAllocator::letGoOfFrames() {
  m_poolCleared.emit();
  m_poolCleared.disconnect_all();
  m_usedFrames.clear();
  for (InternalFrame* frame : m_freeFrames) delete frame;
  m_freeFrames.clear();
  m_frameCount = 0;
}

InternalFrame* FrameAllocator::createFrame() {
  InternalFrame* frame = new InternalFrame(this);
  if (m_bufferSize != 0) {
    void* buffer = std::malloc(m_bufferSize);
    if (buffer == nullptr) {
      logMessage(kLogError, "can not alloc  size[%d]!!!", m_bufferSize);
      delete frame;
      return nullptr;
    }
    std::memset(buffer, 0, m_bufferSize);
    frame->data = buffer;
    frame->m_capacity = m_bufferSize;
  }
  frame->dataSize = 0;
  return frame;
}

}  // namespace sarvik
