// Sixteen pixels a step, the row's last partial step under a lane mask.
// Lanes without depth are masked out of every arithmetic step: they come out
// as +0.0 and raise no floating-point flags the scalar path would not.
#include "imaging/simd_level.h"

#if SARVIK_HAVE_X86_SIMD
#include "imaging/simd_intrinsics.h"

#include "imaging/point_cloud_kernel.h"
#include "imaging/simd_interleave.h"

namespace sarvik {
namespace {

struct Constants {
  __m512 multiplier, cutoff, zero, scale, fx, fy, cx;
  __m512i lane;
};

// One block of `count` (1..16) pixels from column `col` of a row.
__attribute__((target("avx512f,avx512bw,avx512vl"))) inline void pointBlock(const PointCloudJob& job,
                                                                             const Constants& k, size_t base,
                                                                             uint32_t col, uint32_t count,
                                                                             __m512 rowTerm) {
  const __mmask16 present = static_cast<__mmask16>(count == 16 ? 0xFFFFu : (1u << count) - 1);
  const __m256i raw = count == 16 ? _mm256_loadu_si256(reinterpret_cast<const __m256i*>(job.depth + base + col))
                                  : _mm256_maskz_loadu_epi16(present, job.depth + base + col);
  const __m512 d = _mm512_mul_ps(_mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(raw)), k.multiplier);
  const __mmask16 valid =
      _mm512_mask_cmp_ps_mask(_mm512_cmp_ps_mask(d, k.zero, _CMP_GT_OQ), d, k.cutoff, _CMP_LT_OQ);
  const __m512 z = _mm512_maskz_div_ps(valid, d, k.scale);
  const __m512i colIndex = _mm512_add_epi32(_mm512_set1_epi32(static_cast<int32_t>(col) + job.colOffset), k.lane);
  const __m512 colTerm = _mm512_sub_ps(_mm512_cvtepi32_ps(colIndex), k.cx);
  const __m512 x = _mm512_maskz_div_ps(valid, _mm512_maskz_mul_ps(valid, colTerm, z), k.fx);
  const __m512 y = _mm512_maskz_div_ps(valid, _mm512_maskz_mul_ps(valid, rowTerm, z), k.fy);
  storeTriplesAvx512(reinterpret_cast<float*>(job.points + base + col), x, y, z, count);
}

}  // namespace

__attribute__((target("avx512f,avx512bw,avx512vl"))) void pointCloudAvx512(const PointCloudJob& job) {
  Constants k;
  k.multiplier = _mm512_set1_ps(job.multiplier);
  k.cutoff = _mm512_set1_ps(job.cutoff);
  k.zero = _mm512_setzero_ps();
  k.scale = _mm512_set1_ps(job.scale);
  k.fx = _mm512_set1_ps(job.fx);
  k.fy = _mm512_set1_ps(job.fy);
  k.cx = _mm512_set1_ps(job.cx);
  k.lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);

  for (uint32_t row = 0; row < job.height; ++row) {
    const size_t base = static_cast<size_t>(row) * job.width;
    const __m512 rowTerm = _mm512_set1_ps(pointRowTerm(job, row));
    uint32_t col = 0;
    for (; job.width - col >= 16; col += 16) pointBlock(job, k, base, col, 16, rowTerm);
    if (col < job.width) pointBlock(job, k, base, col, job.width - col, rowTerm);
  }
}

}  // namespace sarvik

#endif  // SARVIK_HAVE_X86_SIMD
