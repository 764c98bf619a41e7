#include "tools/monotonic_clock.h"

#include <time.h>

namespace sarvik {
namespace tools {

uint64_t monotonicMicros() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

}  // namespace tools
}  // namespace sarvik
