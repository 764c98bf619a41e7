// The vector intrinsics, for the files that use them. GCC 12 takes the
// self-initialised placeholder behind _mm512_undefined_ps() inside its own
// AVX-512 intrinsics for a read of an uninitialised value; the warning is
// silenced for the intrinsic headers alone.
#ifndef SARVIK_IMAGING_SIMD_INTRINSICS_H
#define SARVIK_IMAGING_SIMD_INTRINSICS_H

#include "imaging/simd_level.h"

#if !SARVIK_HAVE_X86_SIMD
#error "the x86 intrinsics are only for builds with the x86 vector kernels"
#endif

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop

#endif  // SARVIK_IMAGING_SIMD_INTRINSICS_H
