// Fixed-size blocks that are kept for reuse instead of going back to the heap,
// so that code which makes and drops the same small objects over and over
// (the connections a wait makes to its streams) allocates nothing once warm.
// Blocks live until the process ends; the pool never shrinks.
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
    {
      std::lock_guard<std::mutex> guard(mutex());
      void*& first = head();
      if (first != nullptr) {
        void* block = first;
        first = *static_cast<void**>(block);
        return block;
      }
    }
    return ::operator new(kBlockSize);
  }

  static void give(void* block) {
    if (block == nullptr) return;
    std::lock_guard<std::mutex> guard(mutex());
    *static_cast<void**>(block) = head();
    head() = block;
  }

 private:
  // Never destroyed: a block may come back from a thread that outlives the
  // static destructors.
  static std::mutex& mutex() {
    static std::mutex* lock = new std::mutex();
    return *lock;
  }
  static void*& head() {
    static void* first = nullptr;
    return first;
  }
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
