// Application threads open, read, wait on, call back from, stop and close
// streams of their own, on cameras that deliver flat out and that the threads
// share. Nothing may hang, and at the end every frame is back in its pool.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "context/stream_test_support.h"

namespace sarvik_test {
namespace {

using StreamStress = StreamTest;

constexpr int kThreads = 4;
constexpr auto kBusyTime = std::chrono::seconds(3);

struct Tally {
  SarvikBaseContext* context = nullptr;
  std::atomic<int> cycles{0};
  std::atomic<int> reads{0};
  std::atomic<int> wakes{0};
  std::atomic<int> callbacks{0};
  std::atomic<int> unexpected{0};
};

void countCallback(sarvik::VideoStream*, typedefSarvikFrame* frame, void* user) {
  auto* tally = static_cast<Tally*>(user);
  if (tally->context->releaseFrame(frame) != 0) ++tally->unexpected;
  ++tally->callbacks;
}

// 0 counts as done, a time-out as harmless under load; anything else is a fault.
void note(int32_t status, std::atomic<int>* done, Tally* tally) {
  if (status == 0) {
    ++*done;
  } else if (status != -11) {
    ++tally->unexpected;
  }
}

void readOnce(SarvikBaseContext* context, sarvik::VideoStream* stream, uint32_t timeoutMs, Tally* tally) {
  typedefSarvikFrame* frame = nullptr;
  const int32_t status = context->readFrame(stream, &frame, timeoutMs);
  note(status, &tally->reads, tally);
  if (status == 0 && context->releaseFrame(frame) != 0) ++tally->unexpected;
}

// One cycle of a stream's life. The two types keep one thread's streams
// apart from each other's sensor while other threads share it.
void cycle(SarvikBaseContext* context, sarvik::Device* device, uint32_t type, Tally* tally) {
  sarvik::VideoStream* stream = nullptr;
  if (context->openStream(device, type, &stream, nullptr, nullptr) != 0) {
    ++tally->unexpected;
    return;
  }
  readOnce(context, stream, 5000, tally);
  sarvik::VideoStream* ready = nullptr;
  note(context->waitForStreams(&stream, 1, &ready, 5000), &tally->wakes, tally);
  if (context->setFrameCallback(stream, countCallback, tally) != 0) ++tally->unexpected;
  // With a callback set no listener hears of a frame: only the first look can
  // find one, racing the callback for it.
  readOnce(context, stream, 0, tally);
  if (stopStreamStep(context, stream) != 0) ++tally->unexpected;
  if (context->closeStream(stream) != 0) ++tally->unexpected;
  ++tally->cycles;
}

// Delivers, reads and releases `rounds` frames one by one. A pool of ten
// with frames lost to a missing release runs dry well before the end.
void drainCheck(SarvikBaseContext* context, FakeDriverControl& plugin, sarvik::Device* device, uint32_t type,
                int rounds) {
  sarvik::VideoStream* stream = nullptr;
  ASSERT_EQ(0, context->openStream(device, type, &stream, nullptr, nullptr));
  for (int i = 0; i < rounds; ++i) {
    ASSERT_EQ(0, plugin.deliverFrame(type)) << "type " << type << ", frame " << i;
    typedefSarvikFrame* frame = nullptr;
    ASSERT_EQ(0, context->readFrame(stream, &frame, 0));
    ASSERT_EQ(0, context->releaseFrame(frame));
  }
  ASSERT_EQ(0, context->closeStream(stream));
}

TEST_F(StreamStress, ThreadsCycleTheirOwnStreamsOnFlatOutCameras) {
  start({makeDeviceRecord("usb://0", SARVIK_CONNECTION_USB), makeDeviceRecord("usb://1", SARVIK_CONNECTION_USB)},
        {makeDeviceRecord("net://0", SARVIK_CONNECTION_NET), makeDeviceRecord("net://1", SARVIK_CONNECTION_NET)});
  sarvik::Device* devices[] = {open("usb://0"), open("net://0"), open("usb://1"), open("net://1")};
  const uint32_t types[] = {SARVIK_STREAM_DEPTH, SARVIK_STREAM_COLOR};
  for (FakeDriverControl* plugin : {&uvc(), &net()}) {
    plugin->setCallLogEnabled(false);
    plugin->setFlatOutDelivery(true);
  }
  log().clear();

  Tally tallies[kThreads];
  std::atomic<int> finished{0};
  std::vector<std::thread> threads;
  const auto deadline = std::chrono::steady_clock::now() + kBusyTime;
  for (int t = 0; t < kThreads; ++t) {
    tallies[t].context = ctx();
    threads.emplace_back([&, t] {
      // Each thread works on two devices, each device has two threads.
      for (int round = 0; std::chrono::steady_clock::now() < deadline || round < 2; ++round) {
        cycle(ctx(), devices[(t + round) % kThreads], types[t % 2], &tallies[t]);
      }
      ++finished;
    });
  }
  if (!waitUntil([&] { return finished.load() == kThreads; }, 300.0)) {
    std::fprintf(stderr, "stream stress: %d of %d threads still running\n", kThreads - finished.load(), kThreads);
    std::abort();  // a hang: the threads cannot be joined
  }
  for (std::thread& thread : threads) thread.join();

  for (int t = 0; t < kThreads; ++t) {
    SCOPED_TRACE("thread " + std::to_string(t));
    EXPECT_EQ(0, tallies[t].unexpected.load());
    EXPECT_GE(tallies[t].cycles.load(), 2);
    EXPECT_GT(tallies[t].reads.load(), 0);
  }

  // With delivery one frame at a time, every pool still has all its frames.
  for (FakeDriverControl* plugin : {&uvc(), &net()}) plugin->setFlatOutDelivery(false);
  for (int d = 0; d < kThreads; ++d) {
    FakeDriverControl& plugin = d % 2 == 0 ? uvc() : net();
    for (uint32_t type : types) drainCheck(ctx(), plugin, devices[d], type, 30);
  }
  for (sarvik::Device* device : devices) EXPECT_EQ(0, ctx()->closeDevice(device));
  EXPECT_EQ(0, uvc().openDevices());
  EXPECT_EQ(0, net().openDevices());
}

}  // namespace
}  // namespace sarvik_test
