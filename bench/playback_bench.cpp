// Playback of a record file through the USB plug-in, flat out, against a
// plain read(2) of the same file into one buffer, in the same run: MB/s and
// frames/s of both and their ratio. Then the cost of opening a file of at
// least 2 GB, which is one pass over its tags (the index). Files are made in
// the folder given (default /tmp) and deleted at the end.
//
//   playback_bench [FOLDER] [GIGABYTES_FOR_THE_INDEX]
#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "sarvik/SarvikCamera.h"
#include "sarvik/SarvikDriver.h"
#include "sarvik/SarvikRecordFile.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kWidth = 640, kHeight = 480, kBytes = kWidth * kHeight * 2;

double seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

// Writes `entries` depth entries of 640x480, 33 ms apart.
void makeFile(const std::string& path, uint64_t entries) {
  FILE* out = std::fopen(path.c_str(), "wb");
  if (out == nullptr) throw std::runtime_error("cannot write " + path);
  std::vector<uint8_t> pixels(kBytes);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * 7);
  for (uint64_t i = 0; i < entries; ++i) {
    SarvikRecordTag tag{};
    tag.streamType = SARVIK_STREAM_DEPTH;
    tag.frameIndex = static_cast<uint32_t>(i);
    tag.frameStamp = 1000000 + i * 33333;
    tag.dataSize = kBytes;
    tag.width = kWidth;
    tag.height = kHeight;
    uint8_t bytes[kSarvikRecordTagBytes];
    sarvikEncodeRecordTag(tag, bytes);
    if (std::fwrite(bytes, 1, sizeof bytes, out) != sizeof bytes || std::fwrite(pixels.data(), 1, kBytes, out) != kBytes) {
      throw std::runtime_error("short write to " + path);
    }
  }
  std::fclose(out);
}

// A pool of frames that go back to it when their last reference goes, as
// the module's pool does: no allocation per frame.
class Pool;
class PoolFrame final : public sarvik::SarvikFrameRef {
 public:
  PoolFrame(Pool* pool, uint32_t capacity) : m_pool(pool), m_capacity(capacity) { data = std::malloc(capacity); }
  uint32_t bufferCapacity() override { return m_capacity; }
  void release() override;

 private:
  Pool* m_pool;
  uint32_t m_capacity;
};

class Pool final : public sarvik::FrameAllocatorInterfaceBase {
 public:
  explicit Pool(size_t count) {
    for (size_t i = 0; i < count; ++i) m_free.push_back(new PoolFrame(this, kBytes));
  }
  ~Pool() {
    for (PoolFrame* f : m_free) delete f;
  }
  sarvik::FrameRefPtr allocate() override {
    std::lock_guard<std::mutex> lock(m_lock);
    if (m_free.empty()) return sarvik::FrameRefPtr();
    PoolFrame* f = m_free.back();
    m_free.pop_back();
    return sarvik::FrameRefPtr(f);
  }
  uint32_t getBufferSize() override { return kBytes; }
  void setBufferSize(uint32_t) override {}
  void giveBack(PoolFrame* f) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_free.push_back(f);
  }

 private:
  std::mutex m_lock;
  std::vector<PoolFrame*> m_free;
};

void PoolFrame::release() {
  if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) m_pool->giveBack(this);
}

struct Counter {
  static void onFrame(sarvik::SarvikFrameRef* frame, void* user) {
    Counter* self = static_cast<Counter*>(user);
    self->bytes += frame->dataSize;
    if (++self->frames == self->target) {
      std::lock_guard<std::mutex> lock(self->lock);
      self->done.notify_all();
    }
  }
  std::atomic<uint64_t> frames{0};
  std::atomic<uint64_t> bytes{0};
  uint64_t target = 0;
  std::mutex lock;
  std::condition_variable done;
};

struct Plugin {
  Plugin() {
    handle = dlopen(SARVIK_BUILD_LIB_DIR "/libSarvikUvcDriver.so", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) throw std::runtime_error(dlerror());
    auto instance = reinterpret_cast<DriverInstanceFn>(dlsym(handle, SARVIK_DRIVER_INSTANCE_EXPORT));
    destroy = reinterpret_cast<DriverDestroyFn>(dlsym(handle, SARVIK_DRIVER_DESTROY_EXPORT));
    driver = instance();
    driver->initialize();
  }
  ~Plugin() { destroy(driver); }
  // "play" checks the file (one pass over its tags), openDevice indexes it
  // (another): the times of both.
  sarvik::DeviceInterfaceBase* open(const std::string& path, double* playSeconds, double* openSeconds) {
    auto begin = Clock::now();
    if (driver->setText("play " + path) != 0) throw std::runtime_error("cannot play " + path);
    if (playSeconds != nullptr) *playSeconds = seconds(begin);
    begin = Clock::now();
    sarvik::DeviceInterfaceBase* device = nullptr;
    if (driver->openDevice(("file://" + path).c_str(), &device) != 0) throw std::runtime_error("cannot open");
    if (openSeconds != nullptr) *openSeconds = seconds(begin);
    return device;
  }
  void* handle = nullptr;
  DriverDestroyFn destroy = nullptr;
  sarvik::DriverInterfaceBase* driver = nullptr;
};

struct Rate {
  double mbPerSecond;
  double framesPerSecond;
};

Rate plainRead(const std::string& path, uint64_t entries) {
  int fd = ::open(path.c_str(), O_RDONLY);
  std::vector<uint8_t> buffer(1 << 20);
  uint64_t total = 0;
  auto begin = Clock::now();
  for (;;) {
    ssize_t n = ::read(fd, buffer.data(), buffer.size());
    if (n <= 0) break;
    total += static_cast<uint64_t>(n);
  }
  double s = seconds(begin);
  ::close(fd);
  return Rate{total / s / 1e6, entries / s};
}

Rate playFlatOut(Plugin& plugin, const std::string& path, uint64_t entries) {
  sarvik::DeviceInterfaceBase* device = plugin.open(path, nullptr, nullptr);
  float flatOut = 0.0f;
  device->setProperty(kSarvikPropertyPlaybackSpeed, &flatOut, sizeof flatOut);
  Pool pool(8);
  Counter counter;
  counter.target = entries;
  sarvik::StreamInterfaceBase* stream = nullptr;
  device->createStream(SARVIK_STREAM_DEPTH, &stream);
  stream->setNewFrameCallback(&Counter::onFrame, &counter);
  stream->setFrameAllocator(&pool);
  auto begin = Clock::now();
  stream->start();
  {
    std::unique_lock<std::mutex> lock(counter.lock);
    counter.done.wait_for(lock, std::chrono::minutes(5), [&] { return counter.frames.load() >= entries; });
  }
  double s = seconds(begin);
  uint64_t frames = counter.frames, bytes = counter.bytes;
  plugin.driver->closeDevice(&device);
  plugin.driver->setText("unplay " + path);
  if (frames != entries) std::printf("  (only %llu of %llu frames arrived)\n", (unsigned long long)frames, (unsigned long long)entries);
  return Rate{(bytes + frames * kSarvikRecordTagBytes) / s / 1e6, frames / s};
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "/tmp";
  const double indexGigabytes = argc > 2 ? std::atof(argv[2]) : 2.0;
  setenv("SARVIK_SIM_CAMERAS", "0", 1);
  const std::string small = folder + "/sarvik-playback-bench-small.rec";
  const std::string big = folder + "/sarvik-playback-bench-big.rec";
  try {
    const uint64_t smallEntries = 800;  // about 490 MB: stays in the page cache
    makeFile(small, smallEntries);
    Plugin plugin;
    plainRead(small, smallEntries);  // warms the cache for both
    Rate bestRead{0, 0}, bestPlay{0, 0};
    for (int round = 0; round < 3; ++round) {
      Rate r = plainRead(small, smallEntries);
      Rate p = playFlatOut(plugin, small, smallEntries);
      if (r.mbPerSecond > bestRead.mbPerSecond) bestRead = r;
      if (p.mbPerSecond > bestPlay.mbPerSecond) bestPlay = p;
    }
    std::printf("flat-out playback of 640x480 depth, %llu entries (best of 3):\n", (unsigned long long)smallEntries);
    std::printf("  read(2) into one buffer  %8.0f MB/s  %8.0f frames/s\n", bestRead.mbPerSecond, bestRead.framesPerSecond);
    std::printf("  playback into the pool   %8.0f MB/s  %8.0f frames/s\n", bestPlay.mbPerSecond, bestPlay.framesPerSecond);
    std::printf("  playback / read          %8.1f %%\n", 100.0 * bestPlay.mbPerSecond / bestRead.mbPerSecond);
    std::remove(small.c_str());

    const uint64_t bigEntries =
        static_cast<uint64_t>(indexGigabytes * 1e9 / (kBytes + kSarvikRecordTagBytes)) + 1;
    makeFile(big, bigEntries);
    struct stat st;
    stat(big.c_str(), &st);
    // Most of a fresh 2 GB file may still be in the page cache; the index
    // reads 26 bytes per entry, so the cost is the tags' pages either way.
    double playSeconds = 0.0, openSeconds = 0.0;
    sarvik::DeviceInterfaceBase* device = plugin.open(big, &playSeconds, &openSeconds);
    const double gb = st.st_size / 1e9;
    std::printf("a %.2f GB file (%llu entries): play (check) %.3f s = %.4f s/GB, openDevice (index) %.3f s = %.4f s/GB\n",
                gb, (unsigned long long)bigEntries, playSeconds, playSeconds / gb, openSeconds, openSeconds / gb);
    plugin.driver->closeDevice(&device);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "playback_bench: %s\n", e.what());
    std::remove(small.c_str());
    std::remove(big.c_str());
    return 1;
  }
  std::remove(big.c_str());
  return 0;
}
