// What the Python tests and benchmark compare against, done in C++ with no
// Python in between:
//   cloud DEPTH W H FX FY CX CY SCALE ENCODING CLIP OUT      depthToPointCloud
//   coloured DEPTH W H SCALE ENCODING POINTS COLOURS         depthToColouredCloud
//   readloop ADDRESS SENSOR FRAMES [PAUSE_US]                a plain readFrame loop
// DEPTH is raw little-endian uint16 samples, outputs raw float32. readloop
// prints "frames N seconds S cpu C stalls T" (C:
// the reading thread's CPU time, T: reads that timed out while frames came).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikLoader.h"

namespace {

bool readFile(const char* path, std::vector<char>* bytes) {
  FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  char buffer[65536];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) bytes->insert(bytes->end(), buffer, buffer + n);
  std::fclose(file);
  return true;
}

bool writeFile(const char* path, const void* data, size_t size) {
  FILE* file = std::fopen(path, "wb");
  if (file == nullptr) return false;
  const bool ok = std::fwrite(data, 1, size, file) == size;
  return std::fclose(file) == 0 && ok;
}

// CPU time of the calling thread: what the read loop itself costs, whatever
// the camera's pace.
double threadCpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

int usage() {
  std::fprintf(stderr, "usage: sarvik_py_reference cloud|coloured|readloop ...\n");
  return 2;
}

int cloud(SarvikBaseContext* context, int argc, char** argv, bool coloured) {
  if (argc != (coloured ? 9 : 13)) return usage();
  std::vector<char> depth;
  if (!readFile(argv[2], &depth)) return 1;
  const uint32_t width = static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10));
  const uint32_t height = static_cast<uint32_t>(std::strtoul(argv[4], nullptr, 10));
  const size_t pixels = static_cast<size_t>(width) * height;
  if (depth.size() != pixels * 2) return 1;
  std::vector<typedefSarvikPoint3D> points(pixels);
  const auto* samples = reinterpret_cast<const uint16_t*>(depth.data());
  if (coloured) {
    std::vector<typedefSarvikRGBA> colours(pixels);
    context->depthToColouredCloud(samples, width, height, std::strtof(argv[5], nullptr), 0, 0, 0, 0, points.data(),
                                  colours.data(), static_cast<uint32_t>(std::strtoul(argv[6], nullptr, 10)));
    return writeFile(argv[7], points.data(), pixels * sizeof points[0]) &&
                   writeFile(argv[8], colours.data(), pixels * sizeof colours[0])
               ? 0
               : 1;
  }
  context->depthToPointCloud(samples, width, height, std::strtof(argv[9], nullptr), std::strtof(argv[5], nullptr),
                             std::strtof(argv[6], nullptr), std::strtof(argv[7], nullptr),
                             std::strtof(argv[8], nullptr), points.data(),
                             static_cast<uint32_t>(std::strtoul(argv[10], nullptr, 10)), argv[11][0] == '1');
  return writeFile(argv[12], points.data(), pixels * sizeof points[0]) ? 0 : 1;
}

int readLoop(SarvikBaseContext* context, int argc, char** argv) {
  if (argc != 5 && argc != 6) return usage();
  // A pause before each read leaves a frame queued, so the read takes the
  // fast path; the pause itself costs next to no CPU time.
  const long pauseUs = argc == 6 ? std::strtol(argv[5], nullptr, 10) : 0;
  auto fail = [](const char* what, int32_t status) {
    std::fprintf(stderr, "%s failed: %d\n", what, static_cast<int>(status));
    return 1;
  };
  int32_t status = context->initialize();
  if (status != 0) return fail("initialize", status);
  sarvik::Device* device = nullptr;
  sarvik::VideoStream* stream = nullptr;
  status = context->openDevice(argv[2], &device);
  if (status != 0 || device == nullptr) return fail("openDevice", status);
  status = context->openStream(device, static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)), &stream, nullptr,
                               nullptr);
  if (status != 0) return fail("openStream", status);
  const long frames = std::strtol(argv[4], nullptr, 10);
  // The first frame waits for the camera to start; time from it on.
  typedefSarvikFrame* frame = nullptr;
  status = context->readFrame(stream, &frame, 5000);
  if (status != 0) return fail("first readFrame", status);
  context->releaseFrame(frame);
  const auto start = std::chrono::steady_clock::now();
  const double cpuStart = threadCpuSeconds();
  long got = 0;
  long stalls = 0;
  while (got < frames) {
    if (pauseUs > 0) std::this_thread::sleep_for(std::chrono::microseconds(pauseUs));
    status = context->readFrame(stream, &frame, 1000);
    // A wait that misses its wake-up ends in a time-out although frames keep
    // coming; count it and go on, as a real application would.
    if (status == -11 && ++stalls <= 10) continue;
    if (status != 0) return fail("readFrame", status);
    context->releaseFrame(frame);
    ++got;
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("frames %ld seconds %.6f cpu %.6f stalls %ld\n", got, seconds, threadCpuSeconds() - cpuStart, stalls);
  context->closeStream(stream);
  context->closeDevice(device);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage();
  sarvik::ModuleLoader loader;
  std::string error;
  if (!loader.load("", &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  SarvikBaseContext* context = loader.contextFactory()();
  const std::string command = argv[1];
  int result;
  if (command == "cloud") {
    result = cloud(context, argc, argv, false);
  } else if (command == "coloured") {
    result = cloud(context, argc, argv, true);
  } else if (command == "readloop") {
    result = readLoop(context, argc, argv);
  } else {
    result = usage();
  }
  loader.deleteContext()(context);
  return result;
}
