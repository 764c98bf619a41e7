#include "logging/last_error.h"

#include <pthread.h>

#include <atomic>

namespace sarvik {
namespace {

constexpr uint32_t kCellTableSize = 64;

pthread_key_t g_cellKey;
std::atomic<bool> g_cellKeyValid{false};
uint32_t* g_cellTable[kCellTableSize];
std::atomic<uint32_t> g_cellCount{0};
uint32_t g_sharedCell = 0;

// Load and unload stand in for the module's entry point: arm when the module
// is mapped, release when it goes (dlclose or process exit).
struct LastErrorStoreLifetime {
  LastErrorStoreLifetime() { armLastErrorStore(); }
  ~LastErrorStoreLifetime() { releaseLastErrorCells(); }
};
LastErrorStoreLifetime g_storeLifetime;

}  // namespace

uint32_t* lastErrorCell() {
  if (!g_cellKeyValid.load(std::memory_order_acquire)) return &g_sharedCell;
  void* own = pthread_getspecific(g_cellKey);
  if (own != nullptr) return static_cast<uint32_t*>(own);

  uint32_t n = g_cellCount.fetch_add(1, std::memory_order_relaxed) + 1;
  if (n < kCellTableSize) {
    // Only 63 positions are ever used: the count reaching 64 is what sends
    // the rest to the shared cell, so the last table entry stays empty.
    uint32_t* cell = new uint32_t(0);
    pthread_setspecific(g_cellKey, cell);
    g_cellTable[n - 1] = cell;
    return cell;
  }
  // Held at 64 so that the count cannot wrap round into the owned range. A
  // thread here keeps its slot empty and comes this way on every call.
  g_cellCount.store(kCellTableSize, std::memory_order_relaxed);
  return &g_sharedCell;
}

int32_t releaseLastErrorCells() {
  uint32_t count = g_cellCount.load(std::memory_order_relaxed);
  if (count > kCellTableSize) count = kCellTableSize;
  for (uint32_t i = 0; i < count; ++i) {
    delete g_cellTable[i];
    g_cellTable[i] = nullptr;
  }
  g_cellCount.store(0, std::memory_order_relaxed);
  if (g_cellKeyValid.load(std::memory_order_relaxed)) {
    // No destructor was registered with the key: cells belong to the table,
    // not to their threads, and were freed just above.
    pthread_key_delete(g_cellKey);
    g_cellKeyValid.store(false, std::memory_order_release);
  }
  return 0;
}

void armLastErrorStore() {
  // Zeroing the table of an armed store would orphan cells that threads still
  // reach through their slots, so an armed store is kept as it is.
  if (g_cellKeyValid.load(std::memory_order_relaxed)) return;
  if (pthread_key_create(&g_cellKey, nullptr) != 0) return;
  for (uint32_t i = 0; i < kCellTableSize; ++i) g_cellTable[i] = nullptr;
  g_cellCount.store(0, std::memory_order_relaxed);
  g_cellKeyValid.store(true, std::memory_order_release);
}

}  // namespace sarvik
