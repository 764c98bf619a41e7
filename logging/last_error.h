// The per-thread last-error store.
//
// Each thread that asks gets a zeroed 32-bit cell of its own, up to 63
// threads; every later thread shares one static cell. Cells outlive their
// threads and are freed together by releaseLastErrorCells(). The store is
// armed when the module is loaded and released when it is unloaded; a context
// re-arms it on construction and releases it on destruction.
//
// Threading: lastErrorCell() may be called from any thread at any time while
// the store is armed or not. armLastErrorStore() and releaseLastErrorCells()
// must not race with each other nor with lastErrorCell(): they run on the
// thread that creates or destroys the context, with no worker alive.
#ifndef SARVIK_LOGGING_LAST_ERROR_H
#define SARVIK_LOGGING_LAST_ERROR_H

#include <cstdint>

namespace sarvik {

// The calling thread's cell; never null. Without an armed store, and for
// every thread beyond the 63rd, this is the shared cell, which is written
// without any ordering and so holds whichever code came last.
// Throws std::bad_alloc if a new cell cannot be allocated.
uint32_t* lastErrorCell();

// Frees every cell handed out and the thread-local key; always 0. A second
// call in a row finds nothing to do. The shared cell is never freed.
int32_t releaseLastErrorCells();

// Creates the thread-local key if there is none and starts the cell count
// from zero. An armed store is left as it is.
void armLastErrorStore();

// Relaxed atomic store: threads beyond the cell limit share one cell, which
// they write without ordering.
inline void setLastErrorCode(uint32_t code) { __atomic_store_n(lastErrorCell(), code, __ATOMIC_RELAXED); }

}  // namespace sarvik

#endif  // SARVIK_LOGGING_LAST_ERROR_H
