#include <cstdio>

#include "sarvik/SarvikCamera.h"
#include "tools/camera_facts.h"
#include "tools/commands.h"
#include "tools/depth_cloud.h"
#include "tools/mode_choice.h"
#include "tools/open_camera.h"
#include "tools/output_file.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

namespace {
// The first frame of a fresh stream may take a while (mode set-up, a slow
// camera); this is generous on purpose.
constexpr uint32_t kFirstFrameMs = 5000;

int grabCloud(SarvikBaseContext* context, const CommandLine& line) {
  std::string error;
  if (!checkOutputPath(line.output, line.force, &error)) return reportError(error);
  OpenCamera camera(context);
  VideoStream* stream = nullptr;
  if (camera.open(line.camera) != 0) return 1;
  if (applyModes(context, camera.device(), line.modeRequests) != 0) return 1;
  if (camera.openStream(SARVIK_STREAM_DEPTH, &stream) != 0) return 1;
  typedefSarvikFrame* frame = nullptr;
  const int32_t status = context->readFrame(stream, &frame, kFirstFrameMs);
  if (status != 0) return reportFailure("reading a depth frame from " + camera.address(), status);
  // We hold one reference until releaseFrame: the pixels stay put meanwhile.
  int exitCode;
  if (frame->data == nullptr || static_cast<uint64_t>(frame->width) * frame->height * 2 > frame->dataSize) {
    exitCode = reportError("the depth frame is " + std::to_string(frame->width) + "x" +
                           std::to_string(frame->height) + " with " + std::to_string(frame->dataSize) +
                           " bytes: not 2 bytes a pixel");
  } else {
    SarvikIntrinsics intrinsics;
    SarvikDepthUnit unit;
    const bool haveIntrinsics = readIntrinsics(context, camera.device(), SARVIK_STREAM_DEPTH, &intrinsics);
    const bool haveUnit = readDepthUnit(context, camera.device(), &unit);
    const CloudSetup setup = resolveCloud(line.cloud, haveIntrinsics ? &intrinsics : nullptr,
                                          haveUnit ? &unit : nullptr, frame->width, frame->height);
    exitCode = writeDepthCloud(context, static_cast<const uint16_t*>(frame->data), frame->width, frame->height,
                               setup, line.colour, line.output, line.force);
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
