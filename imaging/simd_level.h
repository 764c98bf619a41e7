// Instruction-set levels the imaging kernels are built for, and the choice
// among them at run time. Every level produces the same output bits; they
// differ only in speed.
#ifndef SARVIK_IMAGING_SIMD_LEVEL_H
#define SARVIK_IMAGING_SIMD_LEVEL_H

// 1 when this build carries the x86 vector kernels: on x86 only, and not when
// the build switches them off (SARVIK_NO_X86_SIMD, the CMake option
// SARVIK_X86_SIMD=OFF), which also shows that the scalar-only build of other
// architectures compiles. Without them only kScalar is ever supported.
#if (defined(__x86_64__) || defined(__i386__)) && !defined(SARVIK_NO_X86_SIMD)
#define SARVIK_HAVE_X86_SIMD 1
#else
#define SARVIK_HAVE_X86_SIMD 0
#endif

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
