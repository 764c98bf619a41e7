// Fixed-size blocks that are kept for reuse instead of going back to the heap,
// so that code which makes and drops the same small objects over and over
// (the connections a wait makes to its streams) allocates nothing once warm.
// Free blocks go back to the heap when the module is unloaded or the process
// ends; the pool never shrinks before.
#ifndef SARVIK_PLATFORM_RECYCLING_ALLOCATOR_H
#define SARVIK_PLATFORM_RECYCLING_ALLOCATOR_H

#include <cstddef>
#include <mutex>
#include <new>

namespace sarvik {

template <size_t kSize>
class BlockPool {
 public:
  static constexpr size_t kBlockSize = kSize < sizeof(void*) ? sizeof(void*) : kSize;

  static void* take() {
    (void)&s_drain;  // makes sure this pool's drain exists
    {
      std::lock_guard<std::mutex> guard(s_lock);
      if (s_head != nullptr) {
        void* block = s_head;
        s_head = *static_cast<void**>(block);
        return block;
      }
    }
    return ::operator new(kBlockSize);
  }

  static void give(void* block) {
    if (block == nullptr) return;
    std::lock_guard<std::mutex> guard(s_lock);
    if (s_closed) {
      ::operator delete(block);
      return;
    }
    *static_cast<void**>(block) = s_head;
    s_head = block;
  }

 private:
  // Blocks still in use at unload belong to objects that must be gone by then;
  // one that comes back afterwards goes straight to the heap.
  struct Drain {
    ~Drain() {
      std::lock_guard<std::mutex> guard(s_lock);
      while (s_head != nullptr) {
        void* next = *static_cast<void**>(s_head);
        ::operator delete(s_head);
        s_head = next;
      }
      s_closed = true;
    }
  };

  // Constant-initialised and trivially destroyed, so usable from any thread
  // until the code itself is unloaded.
  static inline std::mutex s_lock;
  static inline void* s_head = nullptr;
  static inline bool s_closed = false;
  static inline Drain s_drain;
};

// A standard allocator over BlockPool for node-based containers: single nodes
// are recycled, anything larger goes to the heap as usual.
template <class T>
class RecyclingAllocator {
 public:
  typedef T value_type;

  RecyclingAllocator() noexcept = default;
  template <class U>
  RecyclingAllocator(const RecyclingAllocator<U>&) noexcept {}

  T* allocate(size_t count) {
    if (count == 1) return static_cast<T*>(BlockPool<sizeof(T)>::take());
    return static_cast<T*>(::operator new(count * sizeof(T)));
  }
  void deallocate(T* pointer, size_t count) noexcept {
    if (count == 1) {
      BlockPool<sizeof(T)>::give(pointer);
    } else {
      ::operator delete(pointer);
    }
  }

  template <class U>
  bool operator==(const RecyclingAllocator<U>&) const noexcept {
    return true;
  }
  template <class U>
  bool operator!=(const RecyclingAllocator<U>&) const noexcept {
    return false;
  }
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_RECYCLING_ALLOCATOR_H
