// What lending frames saves: sarviksrc ! fakesink on a simulated camera that
// delivers flat out without drawing, once lending the frame's memory and once
// copying every frame (max-wrapped=0), the baseline. The camera paces both
// alike, so the figure that tells is the process's CPU time per frame
// (counter cpu_us_per_frame); the summary prints lent / copied.
#include <benchmark/benchmark.h>
#include <gst/gst.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace {

double processCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

std::map<std::string, double>& cpuPerFrame() {
  static std::map<std::string, double> figures;
  return figures;
}

// Runs `frames` buffers of `stream` through fakesink; false on an error.
bool runOnce(const char* stream, int maxWrapped, int frames) {
  const std::string description = std::string("sarviksrc stream=") + stream +
                                  " max-wrapped=" + std::to_string(maxWrapped) +
                                  " num-buffers=" + std::to_string(frames) + " ! fakesink sync=false";
  GstElement* pipeline = gst_parse_launch(description.c_str(), nullptr);
  if (pipeline == nullptr) return false;
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  GstBus* bus = gst_element_get_bus(pipeline);
  GstMessage* message = gst_bus_timed_pop_filtered(bus, 120 * GST_SECOND,
                                                   static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
  const bool ended = message != nullptr && GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS;
  if (message != nullptr) gst_message_unref(message);
  gst_object_unref(bus);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(pipeline);
  return ended;
}

void sourceBuffers(benchmark::State& state, const char* stream, int maxWrapped, const char* label) {
  constexpr int kFrames = 300;
  double cpu = 0;
  int64_t frames = 0;
  for (auto _ : state) {
    const double before = processCpuSeconds();
    if (!runOnce(stream, maxWrapped, kFrames)) {
      state.SkipWithError("the pipeline did not reach EOS");
      return;
    }
    cpu += processCpuSeconds() - before;
    frames += kFrames;
  }
  state.SetItemsProcessed(frames);
  state.counters["cpu_us_per_frame"] = frames > 0 ? cpu * 1e6 / static_cast<double>(frames) : 0;
  cpuPerFrame()[label] = state.counters["cpu_us_per_frame"];
}

void BM_Color720pCopied(benchmark::State& s) { sourceBuffers(s, "color", 0, "color copied"); }
void BM_Color720pLent(benchmark::State& s) { sourceBuffers(s, "color", -1, "color lent"); }
void BM_Depth480pCopied(benchmark::State& s) { sourceBuffers(s, "depth", 0, "depth copied"); }
void BM_Depth480pLent(benchmark::State& s) { sourceBuffers(s, "depth", -1, "depth lent"); }
BENCHMARK(BM_Color720pCopied)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_Color720pLent)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_Depth480pCopied)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_Depth480pLent)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// A private camera folder: flat out, no drawing, its own control file.
std::string prepareCamera() {
  char pattern[] = "/tmp/sarvik-gst-bench-XXXXXX";
  if (mkdtemp(pattern) == nullptr) return {};
  const std::string folder = pattern;
  for (const char* file : {"libSarvikCommonDriver.so", "libSarvikUvcDriver.so"}) {
    std::filesystem::copy_file(std::string(SARVIK_BUILD_LIB_DIR) + "/" + file, folder + "/" + file);
  }
  std::ofstream(folder + "/simcam.conf") << "usb.cameras = 1\nnet.cameras = 0\nmodes.color = 1280x720@0\n"
                                            "modes.depth = 640x480@0\nflatout = yes\npixels = none\ncontrol = none\n";
  setenv("SARVIK_MODULE", (folder + "/libSarvikCommonDriver.so").c_str(), 1);
  return folder;
}

}  // namespace

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  const std::string folder = prepareCamera();
  GstPlugin* plugin = gst_plugin_load_file(SARVIK_GST_PLUGIN_FILE, nullptr);
  if (folder.empty() || plugin == nullptr) {
    std::fprintf(stderr, "cannot set up the camera folder or load %s\n", SARVIK_GST_PLUGIN_FILE);
    return 1;
  }
  gst_object_unref(plugin);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  auto& f = cpuPerFrame();
  for (const char* stream : {"color", "depth"}) {
    const std::string lent = std::string(stream) + " lent", copied = std::string(stream) + " copied";
    if (f.count(lent) != 0 && f.count(copied) != 0 && f[copied] > 0) {
      std::printf("%s: CPU per frame lent / copied = %.2f\n", stream, f[lent] / f[copied]);
    }
  }
  std::filesystem::remove_all(folder);
  return 0;
}
