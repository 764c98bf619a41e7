// Instruction-set levels the imaging kernels are built for, and the choice
// among them at run time. Every level produces the same output bits; they
// differ only in speed.
#ifndef SARVIK_IMAGING_SIMD_LEVEL_H
#define SARVIK_IMAGING_SIMD_LEVEL_H

namespace sarvik {

enum class SimdLevel {
  kScalar = 0,
  kAvx2 = 1,
  kAvx512 = 2,  // AVX-512 F, BW and VL together
};

// True when this CPU (and the OS's register saving) runs `level`.
bool simdLevelSupported(SimdLevel level);

// The widest supported level; decided once per process.
SimdLevel bestSimdLevel();

// `level`, or the widest supported level below it.
SimdLevel usableSimdLevel(SimdLevel level);

}  // namespace sarvik

#endif  // SARVIK_IMAGING_SIMD_LEVEL_H
