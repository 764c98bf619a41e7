// Recording throughput: 640x480 depth (16-bit) and colour (24-bit) delivered
// flat out and recorded into one file, against plain fwrite of the same bytes
// in the same chunks into the same folder, measured in the same run. The
// recorder is saturated, so elapsed time over frames written is the time one
// frame spends in the recorder's write path.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_driver.h"
#include "bench/bench_module.h"
#include "sarvik/SarvikRecordFile.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kDepthBytes = 640 * 480 * 2;
constexpr uint32_t kColourBytes = 640 * 480 * 3;

uint64_t fileSize(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

struct Rate {
  double bytesPerSecond;
  double framesPerSecond;
  double usPerFrame;
};

Rate recordFlatOut(BenchModule& module, const std::string& path, double seconds) {
  SarvikBaseContext* context = module.context();
  module.pluginSymbol<BenchSetFrameBytesFn>("benchSetFrameBytes")(kDepthBytes);
  module.pluginSymbol<BenchSetColourFrameBytesFn>("benchSetColourFrameBytes")(kColourBytes);
  module.pluginSymbol<BenchSetFlatOutFn>("benchSetFlatOut")(true);
  // Far more than any disk takes, without burning the cores the writers need.
  module.pluginSymbol<BenchSetRateFn>("benchSetRate")(2000);
  sarvik::Device* device = nullptr;
  sarvik::VideoStream* depth = nullptr;
  sarvik::VideoStream* colour = nullptr;
  sarvik::StreamRecorder* recorder = nullptr;
  context->openDevice("bench://0", &device);
  context->openStream(device, SARVIK_STREAM_DEPTH, &depth, nullptr, nullptr);
  context->openStream(device, SARVIK_STREAM_COLOR, &colour, nullptr, nullptr);
  if (context->createRecorder(path.c_str(), &recorder) != 0) {
    std::fprintf(stderr, "createRecorder(%s) failed\n", path.c_str());
    std::exit(1);
  }
  context->attachStreamToRecorder(recorder, depth);
  context->attachStreamToRecorder(recorder, colour);
  context->startRecorder(recorder);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const uint64_t before = fileSize(path);
  const auto start = Clock::now();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  context->stopRecorder(recorder);  // flushes: the bytes are the file's now
  const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  const uint64_t bytes = fileSize(path) - before;
  context->destroyRecorder(recorder);
  context->closeStream(depth);
  context->closeStream(colour);
  context->closeDevice(device);
  module.pluginSymbol<BenchSetFlatOutFn>("benchSetFlatOut")(false);
  const double frames = static_cast<double>(bytes) / ((kDepthBytes + kColourBytes) / 2.0 + kSarvikRecordTagBytes);
  return {bytes / elapsed, frames / elapsed, elapsed * 1e6 / frames};
}

// The frames come from a pool of a few buffers per stream, so the baseline
// writes from as many distinct buffers: a single buffer would stay in the
// cache, which no camera frame does.
constexpr int kBuffersPerStream = 5;

Rate plainFwrite(const std::string& path, double seconds) {
  std::vector<std::vector<char>> depth(kBuffersPerStream, std::vector<char>(kDepthBytes, 1));
  std::vector<std::vector<char>> colour(kBuffersPerStream, std::vector<char>(kColourBytes, 2));
  SarvikRecordTag header{SARVIK_STREAM_DEPTH, 0, 0, kDepthBytes, 640, 480};
  uint8_t tag[kSarvikRecordTagBytes];
  FILE* file = std::fopen(path.c_str(), "wb");
  uint64_t bytes = 0, frames = 0;
  const auto start = Clock::now();
  double elapsed = 0;
  while (elapsed < seconds) {
    const size_t pick = (frames / 2) % kBuffersPerStream;
    const std::vector<char>& data = (frames % 2 == 0) ? depth[pick] : colour[pick];
    // Encoded anew each frame, as the recorder does.
    header.frameIndex = static_cast<uint32_t>(frames);
    sarvikEncodeRecordTag(header, tag);
    bytes += std::fwrite(tag, 1, sizeof tag, file);
    bytes += std::fwrite(data.data(), 1, data.size(), file);
    ++frames;
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  }
  std::fflush(file);
  elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  std::fclose(file);
  return {bytes / elapsed, frames / elapsed, elapsed * 1e6 / static_cast<double>(frames)};
}

}  // namespace

int main(int argc, char** argv) {
  const std::string libDir = SARVIK_BUILD_LIB_DIR;
  const std::string folder = argc > 1 ? argv[1] : "/tmp";
  const double seconds = 2.0;
  BenchModule module(libDir, libDir + "/benchplugins/libSarvikBenchDriver.so");
  const std::string recordPath = folder + "/sarvik-bench-record.rec";
  const std::string plainPath = folder + "/sarvik-bench-plain.bin";

  // Each phase starts with no dirty pages of the other: the kernel throttles
  // writers while it writes back, which would favour whichever runs first.
  sync();
  const Rate recorded = recordFlatOut(module, recordPath, seconds);
  std::remove(recordPath.c_str());
  sync();
  const Rate plain = plainFwrite(plainPath, seconds);
  std::remove(recordPath.c_str());
  std::remove(plainPath.c_str());

  std::printf("recording, 640x480 depth + colour: %.0f MB/s, %.0f frames/s, %.1f us per frame in the recorder\n",
              recorded.bytesPerSecond / 1e6, recorded.framesPerSecond, recorded.usPerFrame);
  std::printf("plain fwrite of the same bytes:     %.0f MB/s, %.0f frames/s, %.1f us per frame\n",
              plain.bytesPerSecond / 1e6, plain.framesPerSecond, plain.usPerFrame);
  std::printf("recording / fwrite throughput: %.0f%%   target >= 90%%\n",
              100.0 * recorded.bytesPerSecond / plain.bytesPerSecond);
  return 0;
}
