// Images and comparisons shared by the imaging tests.
#ifndef SARVIK_TESTS_IMAGING_TEST_SUPPORT_H
#define SARVIK_TESTS_IMAGING_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "imaging/simd_level.h"
#include "sarvik/SarvikTypes.h"

namespace imaging_test {

inline uint32_t bitsOf(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

// Exact bits, -0.0 against +0.0 included. NaNs only have to be NaN on both
// sides: which operand's payload survives is not part of the formula.
inline bool sameFloat(float expected, float actual) {
  if (std::isnan(expected) || std::isnan(actual)) return std::isnan(expected) && std::isnan(actual);
  return bitsOf(expected) == bitsOf(actual);
}

inline std::string describe(float value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.9g (0x%08x)", static_cast<double>(value), bitsOf(value));
  return text;
}

inline ::testing::AssertionResult samePoints(const std::vector<typedefSarvikPoint3D>& expected,
                                             const std::vector<typedefSarvikPoint3D>& actual) {
  if (expected.size() != actual.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (size_t i = 0; i < expected.size(); ++i) {
    const float e[3] = {expected[i].x, expected[i].y, expected[i].z};
    const float a[3] = {actual[i].x, actual[i].y, actual[i].z};
    for (int c = 0; c < 3; ++c) {
      if (!sameFloat(e[c], a[c])) {
        return ::testing::AssertionFailure() << "point " << i << " component " << "xyz"[c] << ": expected "
                                             << describe(e[c]) << ", got " << describe(a[c]);
      }
    }
  }
  return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult sameColours(const std::vector<typedefSarvikRGBA>& expected,
                                              const std::vector<typedefSarvikRGBA>& actual) {
  if (expected.size() != actual.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (size_t i = 0; i < expected.size(); ++i) {
    if (std::memcmp(&expected[i], &actual[i], sizeof expected[i]) != 0) {
      const typedefSarvikRGBA& e = expected[i];
      const typedefSarvikRGBA& a = actual[i];
      return ::testing::AssertionFailure() << "colour " << i << ": expected (" << e.r << ", " << e.g << ", " << e.b
                                           << ", " << e.a << "), got (" << a.r << ", " << a.g << ", " << a.b << ", "
                                           << a.a << ")";
    }
  }
  return ::testing::AssertionSuccess();
}

// Samples at and around every decode boundary of both conversions: zero,
// the smallest values, the cut-offs of each format and the colour bar's end.
inline const std::vector<uint16_t>& boundarySamples() {
  static const std::vector<uint16_t> samples = {
      0,     1,     2,     3,     4,     7,     8,     15,    16,    17,    31,    32,    33,
      16376, 16379, 16380, 16383, 16384, 31992, 31999, 32000, 32007, 32008, 65500, 65503, 65504,
      65519, 65520, 65521, 65527, 65528, 65529, 65531, 65532, 65533, 65534, 65535};
  return samples;
}

// Uniform samples mixed with boundary samples and holes without depth.
inline std::vector<uint16_t> randomDepth(uint32_t width, uint32_t height, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> kind(0, 9);
  std::uniform_int_distribution<int> any(0, 65535);
  std::uniform_int_distribution<size_t> boundary(0, boundarySamples().size() - 1);
  std::vector<uint16_t> depth(static_cast<size_t>(width) * height);
  for (uint16_t& sample : depth) {
    const int k = kind(random);
    if (k < 5) {
      sample = static_cast<uint16_t>(any(random));
    } else if (k < 8) {
      sample = boundarySamples()[boundary(random)];
    } else if (k < 9) {
      sample = 0;
    } else {
      sample = static_cast<uint16_t>(any(random) & 0x3FFF);
    }
  }
  return depth;
}

inline std::vector<sarvik::SimdLevel> supportedLevels() {
  std::vector<sarvik::SimdLevel> levels;
  for (auto level : {sarvik::SimdLevel::kScalar, sarvik::SimdLevel::kAvx2, sarvik::SimdLevel::kAvx512}) {
    if (sarvik::simdLevelSupported(level)) levels.push_back(level);
  }
  return levels;
}

inline const char* levelName(sarvik::SimdLevel level) {
  static const char* const names[] = {"scalar", "avx2", "avx512"};
  return names[static_cast<int>(level)];
}

// A value no conversion writes, to see what was left alone.
inline float untouched() {
  const uint32_t bits = 0x7FA5A5A5u;  // a signalling NaN with a recognisable payload
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// Bit for bit: the marker is a NaN, which sameFloat would take for any NaN.
template <typename Record>
::testing::AssertionResult allUntouched(const Record* begin, size_t count) {
  const float* floats = reinterpret_cast<const float*>(begin);
  for (size_t i = 0; i < count * sizeof(Record) / sizeof(float); ++i) {
    if (bitsOf(floats[i]) != 0x7FA5A5A5u) return ::testing::AssertionFailure() << "float " << i << " was written";
  }
  return ::testing::AssertionSuccess();
}

}  // namespace imaging_test

#endif  // SARVIK_TESTS_IMAGING_TEST_SUPPORT_H
