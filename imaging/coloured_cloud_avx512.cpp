// Sixteen pixels a step, the row's last partial step under a lane mask.
// Pixels without depth are masked out of every arithmetic step and come out
// as +0.0, as the scalar path writes them.
#include "imaging/simd_level.h"

#if SARVIK_HAVE_X86_SIMD
#include "imaging/simd_intrinsics.h"

#include "imaging/colour_copy_simd.h"
#include "imaging/coloured_cloud_kernel.h"
#include "imaging/simd_interleave.h"

namespace sarvik {
namespace {

struct Constants {
  __m128i shift;
  __m512i cut, farDepth, farIndex, invalidIndex, sign, lane;
  __m512 scale, fx, fy, cx;
};

// One block of `count` (1..16) pixels from column `col` of a row.
__attribute__((target("avx512f,avx512bw,avx512vl"))) inline void colouredBlock(const ColouredCloudJob& job,
                                                                                const Constants& k, size_t base,
                                                                                uint32_t col, uint32_t count,
                                                                                __m512 rowTerm) {
  const __mmask16 present = static_cast<__mmask16>(count == 16 ? 0xFFFFu : (1u << count) - 1);
  const __m256i raw = count == 16 ? _mm256_loadu_si256(reinterpret_cast<const __m256i*>(job.depth + base + col))
                                  : _mm256_maskz_loadu_epi16(present, job.depth + base + col);
  const __m512i d = _mm512_srl_epi32(_mm512_cvtepu16_epi32(raw), k.shift);
  const __mmask16 valid = _mm512_mask_cmplt_epu32_mask(_mm512_test_epi32_mask(d, d), d, k.cut);
  const __m512 z = _mm512_maskz_div_ps(valid, _mm512_cvtepi32_ps(d), k.scale);
  const __m512 ry = _mm512_maskz_div_ps(valid, _mm512_maskz_mul_ps(valid, rowTerm, z), k.fy);
  const __m512 colTerm =
      _mm512_sub_ps(_mm512_cvtepi32_ps(_mm512_add_epi32(_mm512_set1_epi32(static_cast<int32_t>(col)), k.lane)), k.cx);
  const __m512 rx = _mm512_maskz_div_ps(valid, _mm512_maskz_mul_ps(valid, colTerm, z), k.fx);
  const __m512 negY = _mm512_castsi512_ps(_mm512_maskz_xor_epi32(valid, _mm512_castps_si512(ry), k.sign));
  const __m512 negZ = _mm512_castsi512_ps(_mm512_maskz_xor_epi32(valid, _mm512_castps_si512(z), k.sign));
  storeTriplesAvx512(reinterpret_cast<float*>(job.points + base + col), rx, negY, negZ, count);

  __m512i index = _mm512_mask_mov_epi32(d, _mm512_cmpge_epu32_mask(d, k.farDepth), k.farIndex);
  index = _mm512_mask_mov_epi32(k.invalidIndex, valid, index);
  const float* palette = reinterpret_cast<const float*>(job.palette);
  typedefSarvikRGBA* colourDst = job.colours + base + col;
  if (count == 16) {
    float* out = reinterpret_cast<float*>(colourDst);
    copyFourColours(_mm512_extracti32x4_epi32(index, 0), palette, out);
    copyFourColours(_mm512_extracti32x4_epi32(index, 1), palette, out + 16);
    copyFourColours(_mm512_extracti32x4_epi32(index, 2), palette, out + 32);
    copyFourColours(_mm512_extracti32x4_epi32(index, 3), palette, out + 48);
  } else {
    alignas(64) int32_t indices[16];
    _mm512_store_si512(indices, index);
    for (uint32_t p = 0; p < count; ++p) colourDst[p] = job.palette[indices[p]];
  }
}

}  // namespace

__attribute__((target("avx512f,avx512bw,avx512vl"))) void colouredRowsAvx512(const ColouredCloudJob& job,
                                                                              uint32_t rowBegin, uint32_t rowEnd) {
  Constants k;
  k.shift = _mm_cvtsi32_si128(static_cast<int>(job.shift));
  k.cut = _mm512_set1_epi32(static_cast<int32_t>(job.cut));
  k.farDepth = _mm512_set1_epi32(kFarDepth);
  k.farIndex = _mm512_set1_epi32(kFarColourIndex);
  k.invalidIndex = _mm512_set1_epi32(kInvalidColourIndex);
  k.sign = _mm512_set1_epi32(static_cast<int32_t>(0x80000000u));
  k.lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  k.scale = _mm512_set1_ps(job.scale);
  k.fx = _mm512_set1_ps(job.fx);
  k.fy = _mm512_set1_ps(job.fy);
  k.cx = _mm512_set1_ps(job.cx);

  for (uint32_t row = rowBegin; row < rowEnd; ++row) {
    const size_t base = static_cast<size_t>(row) * job.width;
    const __m512 rowTerm = _mm512_set1_ps(colouredRowTerm(job, row));
    uint32_t col = 0;
    for (; job.width - col >= 16; col += 16) colouredBlock(job, k, base, col, 16, rowTerm);
    if (col < job.width) colouredBlock(job, k, base, col, job.width - col, rowTerm);
  }
}

}  // namespace sarvik

#endif  // SARVIK_HAVE_X86_SIMD
