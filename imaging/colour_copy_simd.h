// Internal to the coloured vector kernels: copies the palette entries of
// four pixels to the output, two entries to a register.
#ifndef SARVIK_IMAGING_COLOUR_COPY_SIMD_H
#define SARVIK_IMAGING_COLOUR_COPY_SIMD_H

#include <cstdint>

#include "imaging/simd_intrinsics.h"

namespace sarvik {

// `indices` holds four palette indices. They leave the vector register in
// pairs: reloading single indices from a stored vector stalls on store
// forwarding, which made the copy the slowest part of the loop.
__attribute__((target("avx2"))) inline void copyFourColours(__m128i indices, const float* palette, float* out) {
  const uint64_t low = static_cast<uint64_t>(_mm_cvtsi128_si64(indices));
  const uint64_t high = static_cast<uint64_t>(_mm_extract_epi64(indices, 1));
  _mm256_storeu_ps(out, _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(palette + 4 * (low & 0xFFFFFFFFu))),
                                             _mm_loadu_ps(palette + 4 * (low >> 32)), 1));
  _mm256_storeu_ps(out + 8,
                   _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(palette + 4 * (high & 0xFFFFFFFFu))),
                                        _mm_loadu_ps(palette + 4 * (high >> 32)), 1));
}

}  // namespace sarvik

#endif  // SARVIK_IMAGING_COLOUR_COPY_SIMD_H
