// The clock that plug-ins stamp frames with, so that a frame's latency is the
// difference of two readings of the same clock.
#ifndef SARVIK_TOOLS_MONOTONIC_CLOCK_H
#define SARVIK_TOOLS_MONOTONIC_CLOCK_H

#include <cstdint>

namespace sarvik {
namespace tools {

// CLOCK_MONOTONIC in microseconds.
uint64_t monotonicMicros();

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_MONOTONIC_CLOCK_H
