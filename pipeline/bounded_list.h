// An ordered list of a few pointers in a fixed array, for the per-frame paths:
// pushing, popping and removing never allocate, so a steady stream of frames
// costs no heap traffic at all. Not thread-safe; its owner's lock guards it.
#ifndef SARVIK_PIPELINE_BOUNDED_LIST_H
#define SARVIK_PIPELINE_BOUNDED_LIST_H

#include <cassert>
#include <cstdint>

namespace sarvik {

template <class T, uint32_t Capacity>
class BoundedList {
 public:
  static constexpr uint32_t kCapacity = Capacity;

  BoundedList() : m_size(0) {}

  uint32_t size() const { return m_size; }
  bool empty() const { return m_size == 0; }
  bool full() const { return m_size == Capacity; }

  // REQUIRES: !empty().
  T front() const {
    assert(m_size > 0);
    return m_items[0];
  }

  // REQUIRES: !full(). Callers size their lists so that this always holds.
  void pushBack(T item) {
    assert(m_size < Capacity);
    m_items[m_size++] = item;
  }

  // REQUIRES: !empty(). The rest moves up one place; with a handful of entries
  // that is cheaper than keeping a ring.
  T popFront() {
    assert(m_size > 0);
    T item = m_items[0];
    for (uint32_t i = 1; i < m_size; ++i) m_items[i - 1] = m_items[i];
    --m_size;
    return item;
  }

  // Removes every entry equal to item, keeping the order of the others.
  void removeAll(T item) {
    uint32_t kept = 0;
    for (uint32_t i = 0; i < m_size; ++i) {
      if (m_items[i] != item) m_items[kept++] = m_items[i];
    }
    m_size = kept;
  }

  bool contains(T item) const {
    for (uint32_t i = 0; i < m_size; ++i) {
      if (m_items[i] == item) return true;
    }
    return false;
  }

  void clear() { m_size = 0; }

  const T* begin() const { return m_items; }
  const T* end() const { return m_items + m_size; }

 private:
  T m_items[Capacity];
  uint32_t m_size;
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_BOUNDED_LIST_H
