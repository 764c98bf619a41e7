#include "imaging/simd_level.h"

namespace sarvik {

bool simdLevelSupported(SimdLevel level) {
#if !SARVIK_HAVE_X86_SIMD
  return level == SimdLevel::kScalar;
#else
  // libgcc's probe also checks that the OS saves the wide registers.
  __builtin_cpu_init();
  switch (level) {
    case SimdLevel::kScalar:
      return true;
    case SimdLevel::kAvx2:
      return __builtin_cpu_supports("avx2");
    case SimdLevel::kAvx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
             __builtin_cpu_supports("avx512vl");
  }
  return false;
#endif
}

SimdLevel usableSimdLevel(SimdLevel level) {
  if (level == SimdLevel::kAvx512 && !simdLevelSupported(SimdLevel::kAvx512)) level = SimdLevel::kAvx2;
  if (level == SimdLevel::kAvx2 && !simdLevelSupported(SimdLevel::kAvx2)) level = SimdLevel::kScalar;
  return level;
}

SimdLevel bestSimdLevel() {
  static const SimdLevel best = usableSimdLevel(SimdLevel::kAvx512);
  return best;
}

}  // namespace sarvik
