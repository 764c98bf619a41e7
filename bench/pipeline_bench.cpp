// Frame pipeline benchmarks, each against a baseline measured in the same run:
//  (a) latency from the plug-in's delivery to the return of readFrame, median
//      and 99th percentile, against a bare mutex-and-condition-variable
//      hand-off between two threads;
//  (b) frames delivered per second flat out with one and three streams on one
//      sensor;
//  (c) heap allocations per delivered frame in steady state.
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/bench_driver.h"
#include "bench/bench_module.h"

// Every heap allocation of the process, the module's included, passes here:
// the executable's malloc interposes the C library's for all shared objects,
// and operator new ends in malloc.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
static std::atomic<uint64_t> g_allocations{0};
static std::atomic<bool> g_counting{false};
extern "C" void* malloc(size_t size) {
  if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}
extern "C" void* calloc(size_t count, size_t size) {
  if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(count, size);
}
extern "C" void* realloc(void* old, size_t size) {
  if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(old, size);
}

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kSamples = 5000;
// The reader must be asleep in its wait before each frame comes, as in real
// use; the same pause precedes each baseline hand-off. The producer sleeps
// rather than spins meanwhile, so that it takes no core from the threads the
// hand-off wakes.
constexpr auto kPause = std::chrono::microseconds(150);

uint64_t nowNs() {
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count());
}

struct Percentiles {
  double median;
  double p99;
};

Percentiles percentiles(std::vector<uint64_t> samples) {
  std::sort(samples.begin(), samples.end());
  return {samples[samples.size() / 2] / 1000.0, samples[samples.size() * 99 / 100] / 1000.0};
}

Percentiles bareHandOff() {
  std::mutex mutex;
  std::condition_variable ready;
  uint64_t stamp = 0;
  bool full = false;
  std::atomic<int> acked{0};
  std::vector<uint64_t> latencies(kSamples);
  std::thread consumer([&] {
    for (int i = 0; i < kSamples; ++i) {
      std::unique_lock<std::mutex> guard(mutex);
      ready.wait(guard, [&] { return full; });
      latencies[i] = nowNs() - stamp;
      full = false;
      guard.unlock();
      acked.store(i + 1, std::memory_order_release);
    }
  });
  for (int i = 0; i < kSamples; ++i) {
    while (acked.load(std::memory_order_acquire) != i) std::this_thread::sleep_for(std::chrono::microseconds(20));
    std::this_thread::sleep_for(kPause);
    {
      std::lock_guard<std::mutex> guard(mutex);
      stamp = nowNs();
      full = true;
    }
    ready.notify_one();
  }
  consumer.join();
  return percentiles(latencies);
}

struct PipelineLatency {
  Percentiles latency;
  double allocationsPerFrame;
};

PipelineLatency moduleReadFrame(BenchModule& module) {
  SarvikBaseContext* context = module.context();
  auto deliver = module.pluginSymbol<BenchDeliverFn>("benchDeliver");
  sarvik::Device* device = nullptr;
  sarvik::VideoStream* stream = nullptr;
  context->openDevice("bench://0", &device);
  context->openStream(device, SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr);

  std::atomic<int> acked{0};
  std::vector<uint64_t> latencies(kSamples);
  const int warmUp = kSamples / 5;
  std::thread reader([&] {
    for (int i = 0; i < kSamples; ++i) {
      typedefSarvikFrame* frame = nullptr;
      if (context->readFrame(stream, &frame, 2000) != 0) {
        std::fprintf(stderr, "readFrame failed at %d\n", i);
        std::exit(1);
      }
      latencies[i] = nowNs() - frame->frameStamp;
      context->releaseFrame(frame);
      acked.store(i + 1, std::memory_order_release);
    }
  });
  uint64_t counted = 0;
  for (int i = 0; i < kSamples; ++i) {
    while (acked.load(std::memory_order_acquire) != i) std::this_thread::sleep_for(std::chrono::microseconds(20));
    if (i == warmUp) {
      g_allocations.store(0);
      g_counting.store(true);
    }
    std::this_thread::sleep_for(kPause);
    deliver();
  }
  reader.join();
  g_counting.store(false);
  counted = g_allocations.load();
  context->closeStream(stream);
  context->closeDevice(device);
  return {percentiles(latencies), static_cast<double>(counted) / (kSamples - warmUp)};
}

struct Throughput {
  double delivered;
  double received;
  double allocationsPerFrame;
};

std::atomic<uint64_t> g_received{0};

void countingCallback(sarvik::VideoStream*, typedefSarvikFrame* frame, void* user) {
  g_received.fetch_add(1, std::memory_order_relaxed);
  static_cast<SarvikBaseContext*>(user)->releaseFrame(frame);
}

Throughput flatOut(BenchModule& module, int streamCount) {
  SarvikBaseContext* context = module.context();
  auto delivered = module.pluginSymbol<BenchDeliveredFn>("benchDelivered");
  module.pluginSymbol<BenchSetFlatOutFn>("benchSetFlatOut")(true);
  sarvik::Device* device = nullptr;
  context->openDevice("bench://0", &device);
  std::vector<sarvik::VideoStream*> streams(streamCount);
  for (auto& stream : streams) context->openStream(device, SARVIK_STREAM_DEPTH, &stream, countingCallback, context);

  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  g_received.store(0);
  const uint64_t before = delivered();
  g_allocations.store(0);
  g_counting.store(true);
  const auto start = Clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  g_counting.store(false);
  const uint64_t frames = delivered() - before;
  const uint64_t received = g_received.load();
  const uint64_t allocations = g_allocations.load();

  for (auto* stream : streams) context->closeStream(stream);
  context->closeDevice(device);
  module.pluginSymbol<BenchSetFlatOutFn>("benchSetFlatOut")(false);
  return {frames / seconds, received / seconds / streamCount,
          frames == 0 ? 0.0 : static_cast<double>(allocations) / static_cast<double>(frames)};
}

}  // namespace

int main() {
  const std::string libDir = SARVIK_BUILD_LIB_DIR;
  BenchModule module(libDir, libDir + "/benchplugins/libSarvikBenchDriver.so");

  const Percentiles bare = bareHandOff();
  const PipelineLatency pipeline = moduleReadFrame(module);
  std::printf("latency, delivery to readFrame return (us): median %.1f  p99 %.1f\n", pipeline.latency.median,
              pipeline.latency.p99);
  std::printf("latency, bare mutex+condvar hand-off (us):  median %.1f  p99 %.1f\n", bare.median, bare.p99);
  std::printf("latency ratio (median): %.2f   (p99): %.2f   target median <= 2.5\n",
              pipeline.latency.median / bare.median, pipeline.latency.p99 / bare.p99);
  std::printf("allocations per frame, readFrame path: %.3f\n", pipeline.allocationsPerFrame);

  const Throughput one = flatOut(module, 1);
  const Throughput three = flatOut(module, 3);
  std::printf("flat out, 1 stream:  %.0f frames/s delivered, %.0f frames/s received per stream\n", one.delivered,
              one.received);
  std::printf("flat out, 3 streams: %.0f frames/s delivered, %.0f frames/s received per stream\n", three.delivered,
              three.received);
  std::printf("delivery rate ratio 3 streams / 1 stream: %.2f\n", three.delivered / one.delivered);
  std::printf("allocations per frame, callback path: 1 stream %.3f, 3 streams %.3f   target 0\n",
              one.allocationsPerFrame, three.allocationsPerFrame);
  return 0;
}
