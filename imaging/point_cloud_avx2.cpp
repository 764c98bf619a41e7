// Eight pixels a step. Every lane runs the scalar formula's operations in
// the same order, so the results are bit-identical to pointFromSample; the
// pixels without depth are zeroed afterwards with a mask.
#include "imaging/simd_level.h"

#if SARVIK_HAVE_X86_SIMD
#include "imaging/simd_intrinsics.h"

#include "imaging/point_cloud_kernel.h"
#include "imaging/simd_interleave.h"

namespace sarvik {

__attribute__((target("avx2"))) void pointCloudAvx2(const PointCloudJob& job) {
  const __m256 multiplier = _mm256_set1_ps(job.multiplier);
  const __m256 cutoff = _mm256_set1_ps(job.cutoff);
  const __m256 zero = _mm256_setzero_ps();
  const __m256 scale = _mm256_set1_ps(job.scale);
  const __m256 fx = _mm256_set1_ps(job.fx);
  const __m256 fy = _mm256_set1_ps(job.fy);
  const __m256 cx = _mm256_set1_ps(job.cx);
  const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);

  for (uint32_t row = 0; row < job.height; ++row) {
    const size_t base = static_cast<size_t>(row) * job.width;
    const uint16_t* src = job.depth + base;
    float* dst = reinterpret_cast<float*>(job.points + base);
    const __m256 rowTerm = _mm256_set1_ps(pointRowTerm(job, row));
    uint32_t col = 0;
    for (; job.width - col >= 8; col += 8) {
      const __m128i raw = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + col));
      const __m256 d = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(raw)), multiplier);
      const __m256 valid =
          _mm256_and_ps(_mm256_cmp_ps(d, zero, _CMP_GT_OQ), _mm256_cmp_ps(d, cutoff, _CMP_LT_OQ));
      const __m256 z = _mm256_div_ps(d, scale);
      const __m256i colIndex = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int32_t>(col) + job.colOffset), lane);
      const __m256 colTerm = _mm256_sub_ps(_mm256_cvtepi32_ps(colIndex), cx);
      const __m256 x = _mm256_div_ps(_mm256_mul_ps(colTerm, z), fx);
      const __m256 y = _mm256_div_ps(_mm256_mul_ps(rowTerm, z), fy);
      storeTriplesAvx2(dst + 3 * static_cast<size_t>(col), _mm256_and_ps(x, valid), _mm256_and_ps(y, valid),
                       _mm256_and_ps(z, valid));
    }
    pointCloudRowTail(job, row, col);
  }
}

}  // namespace sarvik

#endif  // SARVIK_HAVE_X86_SIMD
