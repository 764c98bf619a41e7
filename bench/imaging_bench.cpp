// Depth conversions at 640x480 and 1280x720, each timed three ways in one
// run: the module's path, the scalar reference of the tests, and the memory
// floor (a loop that reads the depth image and writes the same output bytes
// with the same vector stores, and computes nothing). A summary of the
// ratios follows the usual table; run with --benchmark_repetitions=N to
// take the best of N.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "imaging/coloured_cloud.h"
#include "imaging/imaging_reference.h"
#include "imaging/point_cloud.h"
#include "imaging/simd_level.h"
#if SARVIK_HAVE_X86_SIMD
#include "imaging/simd_interleave.h"
#include "imaging/simd_intrinsics.h"
#endif

namespace {

using sarvik::SimdLevel;

struct Size {
  uint32_t width;
  uint32_t height;
  std::string name() const { return std::to_string(width) + "x" + std::to_string(height); }
};
const Size kSizes[] = {{640, 480}, {1280, 720}};

// A tilted plane about 1 to 2 m away in the two-bit format, with a block of
// holes, so that the reference's branches behave as on a real image.
std::vector<uint16_t> sceneDepth(const Size& size) {
  std::vector<uint16_t> depth(static_cast<size_t>(size.width) * size.height);
  for (uint32_t row = 0; row < size.height; ++row) {
    for (uint32_t col = 0; col < size.width; ++col) {
      const bool hole = row > size.height / 3 && row < size.height / 2 && col < size.width / 5;
      depth[static_cast<size_t>(row) * size.width + col] =
          hole ? 0 : static_cast<uint16_t>(4 * (1000 + col / 2 + row / 3));
    }
  }
  return depth;
}

// Floors: the same loads and stores as the vector kernels, no arithmetic.
#if SARVIK_HAVE_X86_SIMD
__attribute__((target("avx512f,avx512bw,avx512vl"))) void floorPointsAvx512(const uint16_t* depth, size_t pixels,
                                                                             float* out) {
  for (size_t i = 0; i < pixels; i += 16) {
    const uint32_t count = pixels - i < 16 ? static_cast<uint32_t>(pixels - i) : 16;
    const __mmask16 present = static_cast<__mmask16>(count == 16 ? 0xFFFFu : (1u << count) - 1);
    const __m512 v = _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(_mm256_maskz_loadu_epi16(present, depth + i)));
    sarvik::storeTriplesAvx512(out + 3 * i, v, v, v, count);
  }
}

__attribute__((target("avx512f,avx512bw,avx512vl"))) void floorColouredAvx512(const uint16_t* depth, size_t pixels,
                                                                               float* points, float* colours) {
  for (size_t i = 0; i + 16 <= pixels; i += 16) {
    const __m512 v = _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(_mm256_loadu_si256(
        reinterpret_cast<const __m256i*>(depth + i))));
    sarvik::storeTriplesAvx512(points + 3 * i, v, v, v, 16);
    for (int q = 0; q < 4; ++q) _mm512_storeu_ps(colours + 4 * i + 16 * q, v);
  }
}

#endif

void floorPointsScalar(const uint16_t* depth, size_t pixels, float* out) {
  for (size_t i = 0; i < pixels; ++i) out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = depth[i];
}

void floorColouredScalar(const uint16_t* depth, size_t pixels, float* points, float* colours) {
  for (size_t i = 0; i < pixels; ++i) {
    points[3 * i] = points[3 * i + 1] = points[3 * i + 2] = depth[i];
    colours[4 * i] = colours[4 * i + 1] = colours[4 * i + 2] = colours[4 * i + 3] = depth[i];
  }
}

struct Buffers {
  explicit Buffers(const Size& size) : depth(sceneDepth(size)), points(depth.size()), colours(depth.size()) {}
  std::vector<uint16_t> depth;
  std::vector<typedefSarvikPoint3D> points;
  std::vector<typedefSarvikRGBA> colours;
};

void setBytes(benchmark::State& state, const Size& size, size_t outBytesPerPixel) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size.width * size.height *
                          static_cast<int64_t>(2 + outBytesPerPixel));
}

constexpr float kScale = 1000.0f, kFx = 425.3f, kFy = 424.7f, kCx = 318.2f, kCy = 241.9f;

void pointCloudPath(benchmark::State& state, Size size, SimdLevel level) {
  Buffers b(size);
  for (auto _ : state) {
    sarvik::convertDepthToPointCloudWith(level, b.depth.data(), size.width, size.height, kScale, kFx, kFy, kCx, kCy,
                                         b.points.data(), 3, true);
    benchmark::ClobberMemory();
  }
  setBytes(state, size, 12);
}

void pointCloudReference(benchmark::State& state, Size size) {
  Buffers b(size);
  for (auto _ : state) {
    imaging_reference::pointCloud(b.depth.data(), size.width, size.height, kScale, kFx, kFy, kCx, kCy,
                                  b.points.data(), 3, true);
    benchmark::ClobberMemory();
  }
  setBytes(state, size, 12);
}

void pointCloudFloor(benchmark::State& state, Size size) {
  Buffers b(size);
  [[maybe_unused]] const bool wide = sarvik::simdLevelSupported(SimdLevel::kAvx512);
  for (auto _ : state) {
    float* out = reinterpret_cast<float*>(b.points.data());
#if SARVIK_HAVE_X86_SIMD
    if (wide) {
      floorPointsAvx512(b.depth.data(), b.depth.size(), out);
      benchmark::ClobberMemory();
      continue;
    }
#endif
    floorPointsScalar(b.depth.data(), b.depth.size(), out);
    benchmark::ClobberMemory();
  }
  setBytes(state, size, 12);
}

void colouredCloudPath(benchmark::State& state, Size size) {
  Buffers b(size);
  for (auto _ : state) {
    sarvik::convertDepthToColouredCloud(b.depth.data(), size.width, size.height, kScale, 0, 0, 0, 0,
                                        b.points.data(), b.colours.data(), 3);
    benchmark::ClobberMemory();
  }
  setBytes(state, size, 28);
}

// The vector rows of one worker over the whole image, on this thread: the
// speed-up that owes nothing to the second worker.
void colouredCloudOneThread(benchmark::State& state, Size size) {
  Buffers b(size);
  for (auto _ : state) {
    sarvik::depthRowsToCloud(b.depth.data(), size.width, 0, size.height, kScale, kFx, kFy, kCx, kCy,
                             b.points.data(), b.colours.data(), 3);
    benchmark::ClobberMemory();
  }
  setBytes(state, size, 28);
}

void colouredCloudReference(benchmark::State& state, Size size) {
  Buffers b(size);
  const std::vector<typedefSarvikRGBA> bar = imaging_reference::colourBar();
  for (auto _ : state) {
    imaging_reference::colouredCloud(b.depth.data(), size.width, size.height, kScale, b.points.data(),
                                     b.colours.data(), 3, bar);
    benchmark::ClobberMemory();
  }
  setBytes(state, size, 28);
}

void colouredCloudFloor(benchmark::State& state, Size size) {
  Buffers b(size);
  [[maybe_unused]] const bool wide = sarvik::simdLevelSupported(SimdLevel::kAvx512);
  for (auto _ : state) {
    float* points = reinterpret_cast<float*>(b.points.data());
    float* colours = reinterpret_cast<float*>(b.colours.data());
#if SARVIK_HAVE_X86_SIMD
    if (wide) {
      floorColouredAvx512(b.depth.data(), b.depth.size(), points, colours);
      benchmark::ClobberMemory();
      continue;
    }
#endif
    floorColouredScalar(b.depth.data(), b.depth.size(), points, colours);
    benchmark::ClobberMemory();
  }
  setBytes(state, size, 28);
}

const char* levelName(SimdLevel level) {
  switch (level) {
    case SimdLevel::kScalar:
      return "scalar";
    case SimdLevel::kAvx2:
      return "avx2";
    case SimdLevel::kAvx512:
      return "avx512";
  }
  return "?";
}

void registerAll() {
  for (const Size& size : kSizes) {
    const std::string s = size.name();
    benchmark::RegisterBenchmark(("pointCloud/module/" + s).c_str(), pointCloudPath, size, sarvik::bestSimdLevel());
    for (SimdLevel level : {SimdLevel::kScalar, SimdLevel::kAvx2, SimdLevel::kAvx512}) {
      if (level == sarvik::bestSimdLevel() || !sarvik::simdLevelSupported(level)) continue;
      benchmark::RegisterBenchmark(("pointCloud/" + std::string(levelName(level)) + "/" + s).c_str(), pointCloudPath,
                                   size, level);
    }
    benchmark::RegisterBenchmark(("pointCloud/reference/" + s).c_str(), pointCloudReference, size);
    benchmark::RegisterBenchmark(("pointCloud/floor/" + s).c_str(), pointCloudFloor, size);
    benchmark::RegisterBenchmark(("colouredCloud/module/" + s).c_str(), colouredCloudPath, size)->UseRealTime();
    benchmark::RegisterBenchmark(("colouredCloud/oneThread/" + s).c_str(), colouredCloudOneThread, size);
    benchmark::RegisterBenchmark(("colouredCloud/reference/" + s).c_str(), colouredCloudReference, size);
    benchmark::RegisterBenchmark(("colouredCloud/floor/" + s).c_str(), colouredCloudFloor, size);
  }
}

// Keeps the best time per benchmark for the summary: CPU time of the calling
// thread, which other load on the machine disturbs least, except for the
// runs measured in real time (the two-worker conversion, whose work is not
// on the calling thread).
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    static const std::string kRealTime = "/real_time";
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      std::string name = run.run_name.str();
      const bool real = name.size() > kRealTime.size() &&
                        name.compare(name.size() - kRealTime.size(), kRealTime.size(), kRealTime) == 0;
      if (real) name.resize(name.size() - kRealTime.size());
      const double seconds = real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
      const double microseconds = seconds * 1e6 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      auto found = best_.find(name);
      if (found == best_.end() || microseconds < found->second) best_[name] = microseconds;
    }
  }

  void printSummary() const {
    std::printf("\nSummary (best time per call over the repetitions; ratio = first / second)\n");
    for (const Size& size : kSizes) {
      const std::string s = size.name();
      line("pointCloud    " + s + "  module / floor     ", "pointCloud/module/" + s, "pointCloud/floor/" + s);
      line("pointCloud    " + s + "  reference / module ", "pointCloud/reference/" + s, "pointCloud/module/" + s);
      line("colouredCloud " + s + "  reference / module ", "colouredCloud/reference/" + s,
           "colouredCloud/module/" + s);
      line("colouredCloud " + s + "  reference / 1 thread", "colouredCloud/reference/" + s,
           "colouredCloud/oneThread/" + s);
      line("colouredCloud " + s + "  module / floor     ", "colouredCloud/module/" + s, "colouredCloud/floor/" + s);
    }
  }

 private:
  void line(const std::string& label, const std::string& a, const std::string& b) const {
    const auto ta = best_.find(a);
    const auto tb = best_.find(b);
    if (ta == best_.end() || tb == best_.end()) return;
    std::printf("%s %9.1f us / %9.1f us = %5.2fx\n", label.c_str(), ta->second, tb->second, ta->second / tb->second);
  }

  std::map<std::string, double> best_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  registerAll();
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printSummary();
  benchmark::Shutdown();
  return 0;
}
