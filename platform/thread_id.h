// Identity of the calling thread, and the module's one way to pause.
#ifndef SARVIK_PLATFORM_THREAD_ID_H
#define SARVIK_PLATFORM_THREAD_ID_H

#include <cstdint>

namespace sarvik {

// The kernel's id of the calling thread (what ps -L and /proc show), so that
// ids in log lines can be matched with system tools. Unique among live threads
// only: the kernel reuses ids of threads that have ended.
uint32_t currentThreadId();

// Blocks the calling thread for at least ms milliseconds.
void sleepMs(uint32_t ms);

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_THREAD_ID_H
