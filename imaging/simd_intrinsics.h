// The vector intrinsics, for the files that use them. GCC 12 takes the
// self-initialised placeholder behind _mm512_undefined_ps() inside its own
// AVX-512 intrinsics for a read of an uninitialised value; the warning is
// silenced for the intrinsic headers alone.
#ifndef SARVIK_IMAGING_SIMD_INTRINSICS_H
#define SARVIK_IMAGING_SIMD_INTRINSICS_H

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop

#endif  // SARVIK_IMAGING_SIMD_INTRINSICS_H
