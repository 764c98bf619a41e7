#include <cstdio>

#include "tools/commands.h"
#include "tools/open_camera.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

namespace {
// The first frame of a fresh stream may take a while (mode set-up, a slow
// camera); this is generous on purpose.
constexpr int32_t kFirstFrameMs = 5000;

int snapshot(SarvikBaseContext* context, const CommandLine& line) {
  OpenCamera camera(context);
  VideoStream* stream = nullptr;
  if (camera.open(line.address) != 0 || camera.openStream(SARVIK_STREAM_COLOR, &stream) != 0) return 1;
  // Waiting, not reading: the frame must stay queued for saveBmpSnapshot.
  int32_t status = context->waitForStreams(&stream, 1, nullptr, kFirstFrameMs);
  if (status != 0) return reportFailure("waitForStreams(color)", status);
  const char* name = line.file.empty() ? nullptr : line.file.c_str();
  status = context->saveBmpSnapshot(name);
  if (status != 0) return reportFailure("saveBmpSnapshot(" + (name != nullptr ? line.file : "") + ")", status);
  if (name != nullptr) {
    std::printf("saved %s\n", name);
  } else {
    std::printf("saved a snapshot named after the local time in the current folder\n");
  }
  return camera.close() == 0 ? 0 : 1;
}

}  // namespace

int runSnapshot(const CommandLine& line) {
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  const int exitCode = snapshot(sdk.context(), line);
  return finishSession(&sdk, exitCode);
}

}  // namespace tools
}  // namespace sarvik
