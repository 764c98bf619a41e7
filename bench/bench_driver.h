// The benchmark plug-in's extra exports, reached with dlsym by the harness.
#ifndef SARVIK_BENCH_BENCH_DRIVER_H
#define SARVIK_BENCH_BENCH_DRIVER_H

#include <cstdint>

#include "sarvik/SarvikDriver.h"

extern "C" {
typedef int32_t (*BenchDeliverFn)();            // 0 delivered, -1 no started stream, -2 pool empty
typedef void (*BenchSetFlatOutFn)(bool on);      // streams started afterwards deliver flat out
typedef void (*BenchSetFrameBytesFn)(uint32_t);  // buffer size of the next first start (all but colour)
typedef void (*BenchSetColourFrameBytesFn)(uint32_t);  // the same for colour streams
typedef void (*BenchSetRateFn)(uint32_t);           // pace of flat-out streams, frames/s; 0 none
typedef uint64_t (*BenchDeliveredFn)();          // frames handed to the host so far
}

#endif  // SARVIK_BENCH_BENCH_DRIVER_H
