// A bounded soak of the whole module as applications use it, against a
// plug-in that misbehaves at random, ended by a shutdown in the middle of it
// all. Duration: SARVIK_SOAK_SECONDS (default 5). At the end, every frame the
// application took is given back, and no thread and no descriptor is left.
// The figures go to standard output.
#include <dirent.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "context/context_test_support.h"

namespace sarvik_test {
namespace {

using Clock = std::chrono::steady_clock;

size_t entriesIn(const char* folder) {
  size_t count = 0;
  if (DIR* dir = opendir(folder)) {
    while (dirent* entry = readdir(dir)) {
      if (entry->d_name[0] != '.') ++count;
    }
    closedir(dir);
  }
  return count;
}
size_t threadCount() { return entriesIn("/proc/self/task"); }
size_t descriptorCount() { return entriesIn("/proc/self/fd") - 1; }  // less the one reading it

double soakSeconds() {
  const char* text = std::getenv("SARVIK_SOAK_SECONDS");
  const double seconds = text != nullptr ? std::atof(text) : 5.0;
  return seconds > 0 ? seconds : 5.0;
}

struct Tally {
  std::atomic<uint64_t> operations{0};
  std::atomic<uint64_t> frames{0};
  std::atomic<uint64_t> events{0};
  std::atomic<uint64_t> faults{0};
  std::atomic<int64_t> held{0};  // frames taken and not yet given back
  std::atomic<bool> stop{false};
  SarvikBaseContext* context = nullptr;
};

void onEvent(const char*, const char*, uint32_t, void* user) { ++static_cast<Tally*>(user)->events; }

void onFrame(sarvik::VideoStream*, typedefSarvikFrame* frame, void* user) {
  auto* tally = static_cast<Tally*>(user);
  ++tally->frames;
  tally->context->releaseFrame(frame);
}

class Soak : public ContextTest {
 protected:
  // Takes one frame of `stream` if there is one and gives it back.
  void readOne(sarvik::VideoStream* stream, uint32_t timeoutMs) {
    typedefSarvikFrame* frame = nullptr;
    ++m_tally.operations;
    if (ctx()->readFrame(stream, &frame, timeoutMs) == 0 && frame != nullptr) {
      ++m_tally.held;
      ++m_tally.frames;
      ctx()->releaseFrame(frame);
      --m_tally.held;
    }
  }

  // Opens `uri`, streams from it one way or another, closes it again.
  void cycleDevice(const char* uri, bool withCallback) {
    while (!m_tally.stop.load()) {
      sarvik::Device* device = nullptr;
      ++m_tally.operations;
      if (ctx()->openDevice(uri, &device) != 0 || device == nullptr) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        continue;
      }
      sarvik::VideoStream* depth = nullptr;
      sarvik::VideoStream* colour = nullptr;
      ++m_tally.operations;
      ctx()->openStream(device, SARVIK_STREAM_DEPTH, &depth, withCallback ? onFrame : nullptr, &m_tally);
      ++m_tally.operations;
      ctx()->openStream(device, SARVIK_STREAM_COLOR, &colour, nullptr, nullptr);
      for (int i = 0; i < 5 && !m_tally.stop.load(); ++i) {
        if (colour != nullptr) readOne(colour, 10);
        if (depth != nullptr && !withCallback) readOne(depth, 10);
      }
      if (depth != nullptr && withCallback) std::this_thread::sleep_for(std::chrono::milliseconds(5));
      // Half the time the device goes with its streams still open.
      if (m_tally.operations.load() % 2 == 0) {
        ++m_tally.operations;
        if (depth != nullptr) ctx()->closeStream(depth);
      }
      ++m_tally.operations;
      ctx()->closeDevice(device);
    }
  }

  // Three streams of two plug-ins, waited on together.
  void waitOnThree() {
    sarvik::Device* usb = nullptr;
    sarvik::Device* net = nullptr;
    ctx()->openDevice("usb://0", &usb);
    ctx()->openDevice("net://0", &net);
    sarvik::VideoStream* streams[3] = {nullptr, nullptr, nullptr};
    while (!m_tally.stop.load()) {
      for (int i = 0; i < 3; ++i) {
        if (streams[i] != nullptr) continue;
        ++m_tally.operations;
        ctx()->openStream(i == 2 ? net : usb, i == 1 ? SARVIK_STREAM_COLOR : SARVIK_STREAM_DEPTH, &streams[i],
                          nullptr, nullptr);
      }
      if (streams[0] == nullptr || streams[1] == nullptr || streams[2] == nullptr) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        continue;
      }
      sarvik::VideoStream* ready = nullptr;
      ++m_tally.operations;
      if (ctx()->waitForStreams(streams, 3, &ready, 20) == 0 && ready != nullptr) readOne(ready, 0);
    }
  }

  void record() {
    sarvik::Device* usb = nullptr;
    ctx()->openDevice("usb://3", &usb);
    const std::string path = folder() + "/soak.rec";
    while (!m_tally.stop.load()) {
      sarvik::VideoStream* ir = nullptr;
      ++m_tally.operations;
      if (ctx()->openStream(usb, SARVIK_STREAM_IR, &ir, nullptr, nullptr) != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        continue;
      }
      sarvik::StreamRecorder* recorder = nullptr;
      m_tally.operations += 4;
      if (ctx()->createRecorder(path.c_str(), &recorder) == 0) {
        ctx()->attachStreamToRecorder(recorder, ir);
        ctx()->startRecorder(recorder);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ctx()->stopRecorder(recorder);
        ctx()->destroyRecorder(recorder);
      }
      ++m_tally.operations;
      ctx()->closeStream(ir);
    }
  }

  // Misbehaviour of the USB plug-in, switched at random.
  void misbehave() {
    std::mt19937 random(12345);
    FakeDriverControl& plugin = uvc();
    while (!m_tally.stop.load()) {
      ++m_tally.faults;
      switch (random() % 5) {
        case 0:
          plugin.setFrameFault(FrameFault::kNullFrame);
          break;
        case 1:
          plugin.setFrameFault(FrameFault::kOversized);
          break;
        case 2:
          plugin.setResult(FakeOp::kStreamStart, -7);
          break;
        case 3:
          plugin.setEventsInsideCalls(true);
          break;
        default:
          --m_tally.faults;
          break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 10));
      plugin.setFrameFault(FrameFault::kNone);
      plugin.setResult(FakeOp::kStreamStart, 0);
      plugin.setEventsInsideCalls(false);
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 10));
    }
  }

  Tally m_tally;
};

TEST_F(Soak, EverythingAtOnceThenShutdownInTheMiddle) {
  // A sanitizer's runtime starts a helper thread of its own with the first
  // thread of the process: let it start before the count is taken.
  std::thread([] {}).join();
  const size_t threadsBefore = threadCount();
  const size_t descriptorsBefore = descriptorCount();
  load();
  m_tally.context = ctx();
  uvc().setDevices(deviceRecords("usb://", 4, SARVIK_CONNECTION_USB));
  net().setDevices({makeDeviceRecord("net://0", SARVIK_CONNECTION_NET)});
  for (FakeDriverControl* plugin : {&uvc(), &net()}) {
    plugin->setCallLogEnabled(false);
    plugin->setFlatOutDelivery(true);
  }
  ASSERT_EQ(0, ctx()->initialize());
  ASSERT_EQ(0, ctx()->registerDeviceStateCallback(onEvent, &m_tally));
  ASSERT_EQ(0, net().startEventStorm("net://0", "SN0", "", 0));

  std::vector<std::thread> threads;
  threads.emplace_back([this] { cycleDevice("usb://1", false); });
  threads.emplace_back([this] { cycleDevice("usb://2", true); });
  threads.emplace_back([this] { waitOnThree(); });
  threads.emplace_back([this] { record(); });
  threads.emplace_back([this] { misbehave(); });

  std::this_thread::sleep_for(std::chrono::duration<double>(soakSeconds()));
  // Shutdown while every thread is still busy: their calls from here on are refused.
  EXPECT_EQ(0, ctx()->shutdown());
  m_tally.stop = true;
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(0, m_tally.held.load());
  EXPECT_GT(m_tally.frames.load(), 0u);
  std::printf("soak: %.0f s, %llu operations, %llu frames, %llu events, %llu faults injected\n", soakSeconds(),
              static_cast<unsigned long long>(m_tally.operations.load()),
              static_cast<unsigned long long>(m_tally.frames.load()),
              static_cast<unsigned long long>(m_tally.events.load()),
              static_cast<unsigned long long>(m_tally.faults.load()));

  ctx()->shutdown();
  deleter()(ctx());
  forgetContext();
  EXPECT_TRUE(waitUntil([&] { return threadCount() <= threadsBefore; }, 60.0))
      << threadCount() << " threads, " << threadsBefore << " before";
  // The memory log and the fixture's own hold on the plug-ins are still open.
  EXPECT_TRUE(waitUntil([&] { return descriptorCount() <= descriptorsBefore; }, 60.0))
      << descriptorCount() << " descriptors, " << descriptorsBefore << " before";
}

}  // namespace
}  // namespace sarvik_test
