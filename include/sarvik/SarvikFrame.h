// The reference-counted frame as plug-ins see it. A plug-in takes frames from
// the FrameAllocatorInterfaceBase it was given, fills the public record and
// hands the frame to its NewFrameCallback; it never creates or deletes one.
#ifndef SARVIK_FRAME_H
#define SARVIK_FRAME_H

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include "sarvik/SarvikTypes.h"

namespace sarvik {

// Intrusive reference count. Vtable order: addRef, release, destructor.
class RefCntr {
 public:
  RefCntr() : m_refCount(0) {}
  RefCntr(const RefCntr&) = delete;
  RefCntr& operator=(const RefCntr&) = delete;

  virtual void addRef() { m_refCount.fetch_add(1, std::memory_order_relaxed); }
  // Deletes the object when the count drops from 1 to 0.
  virtual void release() {
    if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  virtual ~RefCntr() {}

 protected:
  std::atomic<int32_t> m_refCount;
};

static_assert(sizeof(std::atomic<int32_t>) == 4, "the count is one 32-bit word");

// A frame: the public record followed in the object by its count. The record
// sits at byte 12 of the object (behind the vtable pointer and the count), so
// a record pointer and its SarvikFrameRef convert by a plain base cast.
class SarvikFrameRef : public typedefSarvikFrame, public RefCntr {
 public:
  SarvikFrameRef() : typedefSarvikFrame() {}
  ~SarvikFrameRef() override {
    if (data != nullptr) std::free(data);  // the buffer comes from malloc
  }
  // Bytes of the buffer at data.
  virtual uint32_t bufferCapacity() = 0;

  static SarvikFrameRef* fromRecord(typedefSarvikFrame* record) {
    return static_cast<SarvikFrameRef*>(record);
  }
};

// Smart pointer holding one reference. Storing takes the new reference before
// it releases the old one, so self-assignment is safe.
class FrameRefPtr {
 public:
  FrameRefPtr() noexcept : m_frame(nullptr) {}
  explicit FrameRefPtr(SarvikFrameRef* frame) : m_frame(frame) {
    if (m_frame != nullptr) m_frame->addRef();
  }
  FrameRefPtr(const FrameRefPtr& other) : FrameRefPtr(other.m_frame) {}
  FrameRefPtr(FrameRefPtr&& other) noexcept : m_frame(other.m_frame) { other.m_frame = nullptr; }
  ~FrameRefPtr() {
    if (m_frame != nullptr) m_frame->release();
  }
  FrameRefPtr& operator=(SarvikFrameRef* frame) {
    if (frame != nullptr) frame->addRef();
    SarvikFrameRef* old = m_frame;
    m_frame = frame;
    if (old != nullptr) old->release();
    return *this;
  }
  FrameRefPtr& operator=(const FrameRefPtr& other) { return *this = other.m_frame; }
  FrameRefPtr& operator=(FrameRefPtr&& other) noexcept {
    if (this != &other) {
      SarvikFrameRef* old = m_frame;
      m_frame = other.m_frame;
      other.m_frame = nullptr;
      if (old != nullptr) old->release();
    }
    return *this;
  }
  void reset() { *this = static_cast<SarvikFrameRef*>(nullptr); }

  SarvikFrameRef* get() const { return m_frame; }
  SarvikFrameRef* operator->() const { return m_frame; }
  SarvikFrameRef& operator*() const { return *m_frame; }
  explicit operator bool() const { return m_frame != nullptr; }

 private:
  SarvikFrameRef* m_frame;
};

static_assert(sizeof(FrameRefPtr) == sizeof(void*), "FrameRefPtr is one pointer wide");

// The frame pool as a plug-in sees it. allocate never blocks: a null pointer
// means the pool has no frame to give and this image is lost.
class FrameAllocatorInterfaceBase {
 public:
  virtual FrameRefPtr allocate() = 0;
  virtual uint32_t getBufferSize() = 0;
  virtual void setBufferSize(uint32_t size) = 0;

 protected:
  ~FrameAllocatorInterfaceBase() = default;
};

}  // namespace sarvik

#endif  // SARVIK_FRAME_H
