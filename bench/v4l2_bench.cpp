// Per-frame cost of the V4L2 path (dequeue, pool frame, convert or copy,
// queue back) against a plain memcpy of the same bytes, in the same run.
#include <benchmark/benchmark.h>
#include <linux/videodev2.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "plugins/v4l2/v4l2_backend.h"
#include "plugins/v4l2/v4l2_mjpeg.h"
#include "plugins/v4l2/fake_v4l2_device.h"

namespace {

class ReusedFrame final : public sarvik::SarvikFrameRef {
 public:
  explicit ReusedFrame(uint32_t bytes) : m_capacity(bytes) { data = static_cast<char*>(std::malloc(bytes)); }
  uint32_t bufferCapacity() override { return m_capacity; }

 private:
  uint32_t m_capacity;
};

// Hands out one frame again and again, as a pool in steady state does.
class CountingSink final : public sarvikhost::FrameSink {
 public:
  explicit CountingSink(uint32_t bytes) : m_frame(new ReusedFrame(bytes)) {}
  sarvik::FrameRefPtr acquire(uint32_t) override { return m_frame; }
  void deliver(sarvik::FrameRefPtr) override {
    std::lock_guard<std::mutex> lock(m_lock);
    ++m_count;
    m_changed.notify_all();
  }
  void lost() override {}
  void waitBeyond(uint64_t count) {
    std::unique_lock<std::mutex> lock(m_lock);
    m_changed.wait(lock, [&] { return m_count > count; });
  }
  uint64_t count() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_count;
  }

 private:
  sarvik::FrameRefPtr m_frame;
  std::mutex m_lock;
  std::condition_variable m_changed;
  uint64_t m_count = 0;
};

v4l2test::FakeScript script(uint32_t fourcc, uint32_t w, uint32_t h) {
  v4l2test::FakeScript s = fourcc == V4L2_PIX_FMT_YUYV ? v4l2test::webcamScript() : v4l2test::depthScript();
  s.formats = {{fourcc, {{w, h, {30}}}}};
  return s;
}

void pathOf(benchmark::State& state, uint32_t fourcc, uint32_t w, uint32_t h, uint32_t sensor) {
  auto sys = std::make_shared<v4l2test::FakeSystem>();
  sys->add("/dev/video0", script(fourcc, w, h));
  sys->setFill("/dev/video0", false);
  v4l2cam::V4l2Backend backend(sys);
  std::unique_ptr<sarvikhost::Camera> camera;
  sarvikhost::CameraInfo info;
  if (backend.open("/dev/video0", &camera, &info) != 0) {
    state.SkipWithError("open failed");
    return;
  }
  const SarvikModeRecord& mode = camera->modes(sensor).at(0);
  CountingSink sink(mode.frameBytes);
  camera->startSensor(sensor, mode, &sink);
  for (auto _ : state) sink.waitBeyond(sink.count());
  camera->stopSensor(sensor);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * w * h * 2);
}

void memcpyOf(benchmark::State& state, uint32_t w, uint32_t h) {
  std::vector<uint8_t> src(static_cast<size_t>(w) * h * 2, 1), dst(src.size());
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size());
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * src.size());
}

void BM_Memcpy_720p_YUYV(benchmark::State& s) { memcpyOf(s, 1280, 720); }
void BM_Path_720p_YUYV(benchmark::State& s) { pathOf(s, V4L2_PIX_FMT_YUYV, 1280, 720, SARVIK_STREAM_COLOR); }
void BM_Memcpy_VGA_Z16(benchmark::State& s) { memcpyOf(s, 640, 480); }
void BM_Path_VGA_Z16(benchmark::State& s) { pathOf(s, V4L2_PIX_FMT_Z16, 640, 480, SARVIK_STREAM_DEPTH); }

BENCHMARK(BM_Memcpy_720p_YUYV);
BENCHMARK(BM_Path_720p_YUYV)->UseRealTime();
BENCHMARK(BM_Memcpy_VGA_Z16);
BENCHMARK(BM_Path_VGA_Z16)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
