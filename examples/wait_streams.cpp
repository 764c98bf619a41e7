// wait_streams: one thread serves colour, depth and infrared by waiting for
// whichever stream has a frame first, 90 frames in all.
//
//   wait_streams [CAMERA]
#include <cstdio>

#include "example_context.h"

int main(int argc, char** argv) {
  ExampleContext context;
  if (!context.start() || !context.openCamera(argc > 1 ? argv[1] : "")) return 1;
  SarvikBaseContext* sdk = context.sdk();

  const uint32_t types[] = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR};
  const char* names[] = {"color", "depth", "ir"};
  sarvik::VideoStream* streams[3] = {nullptr, nullptr, nullptr};
  for (int i = 0; i < 3; ++i) {
    if (!check(names[i], sdk->openStream(context.device(), types[i], &streams[i], nullptr, nullptr))) return 1;
  }

  unsigned counts[3] = {0, 0, 0};
  for (int n = 0; n < 90; ++n) {
    sarvik::VideoStream* ready = nullptr;
    if (!check("waitForStreams", sdk->waitForStreams(streams, 3, &ready, 10000))) return 1;
    // Usually the frame that woke us is still queued on `ready`. A wake-up
    // can also be for a frame an earlier readFrame already took; then the
    // read waits for that stream's next frame instead of failing.
    typedefSarvikFrame* frame = nullptr;
    if (!check("readFrame", sdk->readFrame(ready, &frame, 10000))) return 1;
    for (int i = 0; i < 3; ++i) {
      if (streams[i] == ready) ++counts[i];
    }
    sdk->releaseFrame(frame);
  }
  std::printf("color %u, depth %u, ir %u frames\n", counts[0], counts[1], counts[2]);
  return 0;
}
