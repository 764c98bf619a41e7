// frame_callback: colour and depth frames delivered by callback, each on its
// stream's own thread, until both streams have brought 30 frames.
//
//   frame_callback [CAMERA]
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

#include "example_context.h"

namespace {

struct Counter {
  SarvikBaseContext* sdk = nullptr;
  std::mutex lock;
  std::condition_variable changed;
  unsigned frames[2] = {0, 0};  // colour, depth
};

// Runs on the stream's "Stream CallBack" thread. It may call the module, but
// must not stop, close or destroy its own stream there.
void onFrame(sarvik::VideoStream*, typedefSarvikFrame* frame, void* user) {
  Counter* counter = static_cast<Counter*>(user);
  {
    std::lock_guard<std::mutex> hold(counter->lock);
    ++counter->frames[frame->streamType == SARVIK_STREAM_COLOR ? 0 : 1];
  }
  counter->changed.notify_all();
  counter->sdk->releaseFrame(frame);  // the reference handed to us
}

}  // namespace

int main(int argc, char** argv) {
  ExampleContext context;
  if (!context.start() || !context.openCamera(argc > 1 ? argv[1] : "")) return 1;
  SarvikBaseContext* sdk = context.sdk();

  Counter counter;
  counter.sdk = sdk;
  sarvik::VideoStream* colour = nullptr;
  sarvik::VideoStream* depth = nullptr;
  if (!check("openStream(color)", sdk->openStream(context.device(), SARVIK_STREAM_COLOR, &colour, onFrame, &counter)) ||
      !check("openStream(depth)", sdk->openStream(context.device(), SARVIK_STREAM_DEPTH, &depth, onFrame, &counter))) {
    return 1;
  }

  bool enough = false;
  {
    std::unique_lock<std::mutex> hold(counter.lock);
    enough = counter.changed.wait_for(hold, std::chrono::seconds(20),
                                      [&] { return counter.frames[0] >= 30 && counter.frames[1] >= 30; });
  }
  // Closing a stream ends its callback thread: no callback runs after this.
  check("closeStream(color)", sdk->closeStream(colour));
  check("closeStream(depth)", sdk->closeStream(depth));
  std::lock_guard<std::mutex> hold(counter.lock);
  std::printf("colour frames: %u, depth frames: %u\n", counter.frames[0], counter.frames[1]);
  if (!enough) std::fprintf(stderr, "fewer than 30 frames of each stream in 20 s\n");
  return enough ? 0 : 1;
}
