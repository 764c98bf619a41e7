#include "platform/thread_id.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace sarvik {

uint32_t currentThreadId() {
  // Through syscall() rather than gettid(), which older C libraries lack.
  return static_cast<uint32_t>(syscall(SYS_gettid));
}

void sleepMs(uint32_t ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

}  // namespace sarvik
