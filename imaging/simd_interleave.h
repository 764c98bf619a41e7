// Internal: stores three planes of floats as an array of triples
// (a0 b0 c0 a1 b1 c1 ...), the layout of typedefSarvikPoint3D. Only included
// by the vector kernel files; each helper carries its own target attribute.
#ifndef SARVIK_IMAGING_SIMD_INTERLEAVE_H
#define SARVIK_IMAGING_SIMD_INTERLEAVE_H

#include <cstdint>

#include "imaging/simd_intrinsics.h"

namespace sarvik {
namespace interleave_detail {

// Output float g of a 16-pixel block is component g % 3 of pixel g / 3.
// For each of the three output registers: the pixel of each lane, the same
// with 16 added where the lane takes the second component (two-source
// permute), and the lanes that take the third component.
struct Tables16 {
  int32_t pixel[3][16];
  int32_t pixelOrSecond[3][16];
  uint16_t thirdLanes[3];
};

constexpr Tables16 makeTables16() {
  Tables16 t{};
  for (int k = 0; k < 3; ++k) {
    for (int j = 0; j < 16; ++j) {
      const int g = 16 * k + j;
      t.pixel[k][j] = g / 3;
      t.pixelOrSecond[k][j] = g / 3 + (g % 3 == 1 ? 16 : 0);
      if (g % 3 == 2) t.thirdLanes[k] = static_cast<uint16_t>(t.thirdLanes[k] | (1u << j));
    }
  }
  return t;
}

inline constexpr Tables16 kTables16 = makeTables16();

}  // namespace interleave_detail

// 8 pixels, 24 floats. The same lane index serves all three sources of an
// output register; immediate blends then pick the component of each lane.
__attribute__((target("avx2"))) inline void storeTriplesAvx2(float* dst, __m256 a, __m256 b, __m256 c) {
  const __m256i p0 = _mm256_setr_epi32(0, 0, 0, 1, 1, 1, 2, 2);
  const __m256i p1 = _mm256_setr_epi32(2, 3, 3, 3, 4, 4, 4, 5);
  const __m256i p2 = _mm256_setr_epi32(5, 5, 6, 6, 6, 7, 7, 7);
  const __m256 o0 = _mm256_blend_ps(
      _mm256_blend_ps(_mm256_permutevar8x32_ps(a, p0), _mm256_permutevar8x32_ps(b, p0), 0x92),
      _mm256_permutevar8x32_ps(c, p0), 0x24);
  const __m256 o1 = _mm256_blend_ps(
      _mm256_blend_ps(_mm256_permutevar8x32_ps(a, p1), _mm256_permutevar8x32_ps(b, p1), 0x24),
      _mm256_permutevar8x32_ps(c, p1), 0x49);
  const __m256 o2 = _mm256_blend_ps(
      _mm256_blend_ps(_mm256_permutevar8x32_ps(a, p2), _mm256_permutevar8x32_ps(b, p2), 0x49),
      _mm256_permutevar8x32_ps(c, p2), 0x92);
  _mm256_storeu_ps(dst, o0);
  _mm256_storeu_ps(dst + 8, o1);
  _mm256_storeu_ps(dst + 16, o2);
}

// One output register k (0..2) of a 16-pixel block.
template <int k>
__attribute__((target("avx512f,avx512bw,avx512vl"))) inline __m512 tripleRegisterAvx512(__m512 a, __m512 b, __m512 c) {
  using interleave_detail::kTables16;
  const __m512 ab = _mm512_permutex2var_ps(a, _mm512_loadu_si512(kTables16.pixelOrSecond[k]), b);
  return _mm512_mask_permutexvar_ps(ab, kTables16.thirdLanes[k], _mm512_loadu_si512(kTables16.pixel[k]), c);
}

// 16 pixels, of which the first `count` (1..16) are stored; nothing past
// them is touched.
__attribute__((target("avx512f,avx512bw,avx512vl"))) inline void storeTriplesAvx512(float* dst, __m512 a, __m512 b,
                                                                                     __m512 c, uint32_t count) {
  const __m512 o0 = tripleRegisterAvx512<0>(a, b, c);
  const __m512 o1 = tripleRegisterAvx512<1>(a, b, c);
  const __m512 o2 = tripleRegisterAvx512<2>(a, b, c);
  if (count >= 16) {
    _mm512_storeu_ps(dst, o0);
    _mm512_storeu_ps(dst + 16, o1);
    _mm512_storeu_ps(dst + 32, o2);
    return;
  }
  const uint64_t floats = (1ull << (3 * count)) - 1;
  _mm512_mask_storeu_ps(dst, static_cast<__mmask16>(floats), o0);
  _mm512_mask_storeu_ps(dst + 16, static_cast<__mmask16>(floats >> 16), o1);
  _mm512_mask_storeu_ps(dst + 32, static_cast<__mmask16>(floats >> 32), o2);
}

}  // namespace sarvik

#endif  // SARVIK_IMAGING_SIMD_INTERLEAVE_H
