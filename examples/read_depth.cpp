// read_depth: polls 30 depth frames with readFrame and prints the distance at
// the centre of each.
//
//   read_depth [CAMERA]      CAMERA: address, serial or index; default the first
#include <cstdio>

#include "example_context.h"

int main(int argc, char** argv) {
  ExampleContext context;
  if (!context.start() || !context.openCamera(argc > 1 ? argv[1] : "")) return 1;
  SarvikBaseContext* sdk = context.sdk();

  // No frame callback: frames wait in the stream's queue (one deep, newest
  // wins) until readFrame takes them.
  sarvik::VideoStream* stream = nullptr;
  if (!check("openStream(depth)", sdk->openStream(context.device(), SARVIK_STREAM_DEPTH, &stream, nullptr, nullptr))) {
    return 1;
  }
  for (int i = 0; i < 30; ++i) {
    typedefSarvikFrame* frame = nullptr;
    if (!check("readFrame", sdk->readFrame(stream, &frame, 10000))) return 1;  // waits up to 10 s
    // 16-bit samples; the record and its pixels stay valid until the release.
    const uint16_t* depth = static_cast<const uint16_t*>(frame->data);
    const uint64_t centre = uint64_t{frame->height / 2} * frame->width + frame->width / 2;
    const unsigned sample = frame->dataSize >= 2 * (centre + 1) ? depth[centre] : 0u;
    std::printf("frame %u: %ux%u, centre sample %u\n", frame->frameNumber, frame->width, frame->height, sample);
    // Each frame handed out carries one reference for us; unreleased, it
    // never goes back to the pool and the stream soon runs dry.
    sdk->releaseFrame(frame);
  }
  return check("closeStream", sdk->closeStream(stream)) ? 0 : 1;
}
