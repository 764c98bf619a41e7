// How well the viewer carries frames to a page: 640x480 depth and colour at
// 30 fps from the simulated camera into headless Chromium.
//
// Baseline, in the same run: the frames a plain application reading with
// readFrame gets from the same camera. Then the page: frames drawn per
// second, as a ratio to the baseline (1.0: the viewer loses nothing), and
// the latency from a frame's stamp to its drawing on the page, median and
// p99. The machine's load shows in both phases alike, so the ratio is the
// figure to compare between runs.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "headless_chromium.h"
#include "sarvik/SarvikLoader.h"
#include "viewer_server.h"

namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

double seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

// Frames a second a plain reader of each stream gets over `window`.
std::vector<double> baseline(SarvikBaseContext* context, sarvik::Device* device, const std::vector<uint32_t>& types,
                             Clock::duration window) {
  std::vector<double> rates;
  std::vector<std::thread> readers;
  std::vector<std::atomic<uint64_t>> counts(types.size());
  std::atomic<bool> counting{false}, running{true};
  for (size_t i = 0; i < types.size(); ++i) {
    readers.emplace_back([&, i] {
      sarvik::VideoStream* stream = nullptr;
      if (context->openStream(device, types[i], &stream, nullptr, nullptr) != 0) return;
      while (running) {
        typedefSarvikFrame* frame = nullptr;
        if (context->readFrame(stream, &frame, 100) != 0) continue;
        if (counting) ++counts[i];
        context->releaseFrame(frame);
      }
      context->closeStream(stream);
    });
  }
  std::this_thread::sleep_for(std::chrono::seconds(2));
  counting = true;
  const auto begin = Clock::now();
  std::this_thread::sleep_for(window);
  counting = false;
  const double elapsed = seconds(Clock::now() - begin);
  running = false;
  for (std::thread& reader : readers) reader.join();
  for (auto& count : counts) rates.push_back(count.load() / elapsed);
  return rates;
}

json drawnCounts(viewer_test::HeadlessChromium& browser) {
  std::string error;
  return browser.evaluate(
      "(() => { const c = viewerState.counters; const r = {};"
      " for (const k of ['color', 'depth']) r[k] = c[k] ? {drawn: c[k].drawn, received: c[k].received} : {drawn: 0, received: 0};"
      " return r; })()",
      &error);
}

}  // namespace

int main(int argc, char** argv) {
  const int windowSeconds = argc > 1 ? std::max(2, std::atoi(argv[1])) : 10;
  const auto window = std::chrono::seconds(windowSeconds);
  if (viewer_test::HeadlessChromium::browserPath().empty()) {
    std::fprintf(stderr, "viewer_bench: chromium is not installed\n");
    return 1;
  }
  sarvik::ModuleLoader loader;
  std::string error;
  if (!loader.load(SARVIK_BUILD_LIB_DIR "/libSarvikCommonDriver.so", &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  SarvikBaseContext* context = loader.contextFactory()();
  context->setLogLevel(3);
  if (context->initialize() != 0) return 1;
  int code = 0;
  {
    // Baseline first, on a device of its own; then the viewer opens the
    // camera again. Both sensors open in 640x480 at 30 fps (their first modes).
    std::vector<uint32_t> types = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH};
    sarvik::Device* device = nullptr;
    if (context->openDevice("usb://sim/0", &device) != 0 || device == nullptr) return 1;
    const std::vector<double> base = baseline(context, device, types, window);
    context->closeDevice(device);

    sarvik_viewer::ViewerOptions options;
    options.port = 0;
    options.outputFolder = "/tmp";
    sarvik_viewer::ViewerServer server(context, options);
    if (!server.session().open("usb://sim/0").ok() || !server.bind(&error)) return 1;
    server.serve();
    viewer_test::HeadlessChromium browser;
    if (!browser.launch(1400, 1100, &error)) {
      std::fprintf(stderr, "viewer_bench: %s\n", error.c_str());
      return 1;
    }
    browser.call("Page.navigate", {{"url", "http://127.0.0.1:" + std::to_string(server.port()) + "/?start=depth,color"}},
                 &error);
    std::this_thread::sleep_for(std::chrono::seconds(4));  // page up, streams flowing, clock synced
    browser.evaluate("viewerState.latencies = [], true", &error);
    const json before = drawnCounts(browser);
    const auto begin = Clock::now();
    std::this_thread::sleep_for(window);
    const json after = drawnCounts(browser);
    const double elapsed = seconds(Clock::now() - begin);
    const json latency = browser.evaluate(
        "(() => { const s = viewerState.latencies.slice().sort((a, b) => a - b);"
        " const p = (q) => s.length ? s[Math.min(s.length - 1, Math.floor(s.length * q))] : 0;"
        " return {samples: s.length, median: p(0.5), p99: p(0.99)}; })()",
        &error);
    if (before.is_null() || after.is_null() || latency.is_null()) {
      std::fprintf(stderr, "viewer_bench: the page did not answer: %s\n", error.c_str());
      code = 1;
    } else {
      std::printf("viewer_bench: %d s windows, 640x480 colour + depth at 30 fps, page in headless Chromium\n",
                  windowSeconds);
      std::printf("%-8s %14s %14s %14s %10s\n", "stream", "baseline fps", "page recv fps", "page drawn fps", "ratio");
      for (size_t i = 0; i < types.size(); ++i) {
        const char* name = types[i] == SARVIK_STREAM_COLOR ? "color" : "depth";
        const double received = (after[name]["received"].get<double>() - before[name]["received"].get<double>()) / elapsed;
        const double drawn = (after[name]["drawn"].get<double>() - before[name]["drawn"].get<double>()) / elapsed;
        std::printf("%-8s %14.1f %14.1f %14.1f %10.3f\n", name, base[i], received, drawn,
                    base[i] > 0 ? drawn / base[i] : 0.0);
      }
      std::printf("latency stamp->drawn: median %.1f ms, p99 %.1f ms (%d frames)\n",
                  latency["median"].get<double>() / 1000, latency["p99"].get<double>() / 1000,
                  latency["samples"].get<int>());
    }
  }
  context->shutdown();
  loader.deleteContext()(context);
  return code;
}
