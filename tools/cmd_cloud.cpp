#include <cstdio>

#include "tools/commands.h"
#include "tools/depth_cloud.h"
#include "tools/open_camera.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

namespace {
constexpr uint32_t kFirstFrameMs = 5000;

int grabCloud(SarvikBaseContext* context, const CommandLine& line) {
  OpenCamera camera(context);
  VideoStream* stream = nullptr;
  if (camera.open(line.address) != 0 || camera.openStream(SARVIK_STREAM_DEPTH, &stream) != 0) return 1;
  typedefSarvikFrame* frame = nullptr;
  const int32_t status = context->readFrame(stream, &frame, kFirstFrameMs);
  if (status != 0) return reportFailure("readFrame(depth)", status);
  // We hold one reference until releaseFrame: the pixels stay put meanwhile.
  int exitCode;
  if (frame->data == nullptr || static_cast<uint64_t>(frame->width) * frame->height * 2 > frame->dataSize) {
    std::fprintf(stderr, "the depth frame is %ux%u with %u bytes: not 2 bytes a pixel\n", frame->width,
                 frame->height, frame->dataSize);
    exitCode = 1;
  } else {
    exitCode = writeDepthCloud(context, static_cast<const uint16_t*>(frame->data), frame->width, frame->height,
                               line.cloud, line.colour, line.output);
  }
  context->releaseFrame(frame);
  if (camera.close() != 0 && exitCode == 0) exitCode = 1;
  return exitCode;
}

}  // namespace

int runCloud(const CommandLine& line) {
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  const int exitCode = grabCloud(sdk.context(), line);
  return finishSession(&sdk, exitCode);
}

}  // namespace tools
}  // namespace sarvik
