// Eight pixels a step, lane for lane the scalar operations in the same order,
// so the output bits are those of colouredFromSample.
#include "imaging/simd_level.h"

#if SARVIK_HAVE_X86_SIMD
#include "imaging/simd_intrinsics.h"

#include "imaging/colour_copy_simd.h"
#include "imaging/coloured_cloud_kernel.h"
#include "imaging/simd_interleave.h"

namespace sarvik {

__attribute__((target("avx2"))) void colouredRowsAvx2(const ColouredCloudJob& job, uint32_t rowBegin,
                                                      uint32_t rowEnd) {
  const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(job.shift));
  const __m256i zeroDepth = _mm256_setzero_si256();
  const __m256i cut = _mm256_set1_epi32(static_cast<int32_t>(job.cut));
  const __m256i lastBarDepth = _mm256_set1_epi32(kFarDepth - 1);
  const __m256i farIndex = _mm256_set1_epi32(kFarColourIndex);
  const __m256i invalidIndex = _mm256_set1_epi32(kInvalidColourIndex);
  const __m256 sign = _mm256_set1_ps(-0.0f);
  const __m256 scale = _mm256_set1_ps(job.scale);
  const __m256 fx = _mm256_set1_ps(job.fx);
  const __m256 fy = _mm256_set1_ps(job.fy);
  const __m256 cx = _mm256_set1_ps(job.cx);
  const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
  const float* palette = reinterpret_cast<const float*>(job.palette);

  for (uint32_t row = rowBegin; row < rowEnd; ++row) {
    const size_t base = static_cast<size_t>(row) * job.width;
    const uint16_t* src = job.depth + base;
    float* pointDst = reinterpret_cast<float*>(job.points + base);
    float* colourDst = reinterpret_cast<float*>(job.colours + base);
    const __m256 rowTerm = _mm256_set1_ps(colouredRowTerm(job, row));
    uint32_t col = 0;
    for (; job.width - col >= 8; col += 8) {
      const __m128i raw = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + col));
      const __m256i d = _mm256_srl_epi32(_mm256_cvtepu16_epi32(raw), shift);
      // Depths stay below 2^16, so the signed compare is exact.
      const __m256i valid = _mm256_andnot_si256(_mm256_cmpeq_epi32(d, zeroDepth), _mm256_cmpgt_epi32(cut, d));
      const __m256 validMask = _mm256_castsi256_ps(valid);
      const __m256 z = _mm256_div_ps(_mm256_cvtepi32_ps(d), scale);
      const __m256 ry = _mm256_div_ps(_mm256_mul_ps(rowTerm, z), fy);
      const __m256 colTerm =
          _mm256_sub_ps(_mm256_cvtepi32_ps(_mm256_add_epi32(_mm256_set1_epi32(static_cast<int32_t>(col)), lane)), cx);
      const __m256 rx = _mm256_div_ps(_mm256_mul_ps(colTerm, z), fx);
      storeTriplesAvx2(pointDst + 3 * static_cast<size_t>(col), _mm256_and_ps(rx, validMask),
                       _mm256_and_ps(_mm256_xor_ps(ry, sign), validMask),
                       _mm256_and_ps(_mm256_xor_ps(z, sign), validMask));

      __m256i index = _mm256_blendv_epi8(d, farIndex, _mm256_cmpgt_epi32(d, lastBarDepth));
      index = _mm256_blendv_epi8(invalidIndex, index, valid);
      float* out = colourDst + 4 * static_cast<size_t>(col);
      copyFourColours(_mm256_castsi256_si128(index), palette, out);
      copyFourColours(_mm256_extracti128_si256(index, 1), palette, out + 16);
    }
    colouredRowTail(job, row, col);
  }
}

}  // namespace sarvik

#endif  // SARVIK_HAVE_X86_SIMD
