// CLOCK_MONOTONIC in microseconds: the clock of the cameras' frame stamps.
#ifndef SARVIK_VIEWER_MONOTONIC_MICROS_H
#define SARVIK_VIEWER_MONOTONIC_MICROS_H

#include <time.h>

#include <cstdint>

namespace sarvik_viewer {

inline uint64_t monotonicMicros() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return uint64_t(now.tv_sec) * 1000000u + uint64_t(now.tv_nsec) / 1000u;
}

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_MONOTONIC_MICROS_H
