#include <sys/time.h>
#include <unistd.h>
#include <time.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/commands.h"
#include "tools/image_files.h"
#include "tools/mode_choice.h"
#include "tools/open_camera.h"
#include "tools/output_file.h"
#include "tools/sdk_session.h"

namespace sarvik {
namespace tools {

namespace {
constexpr uint32_t kFirstFrameMs = 5000;

// snapshot-20240501-102203-123.png in the current folder; a second one in
// the same millisecond gets -2, and so on, so that none is overwritten.
std::string defaultSnapshotName(const std::string& extension) {
  timeval now;
  gettimeofday(&now, nullptr);
  tm local;
  localtime_r(&now.tv_sec, &local);
  char stamp[64];
  strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &local);
  const std::string base = "snapshot-" + std::string(stamp) + "-" +
                           std::string(3 - std::to_string(now.tv_usec / 1000).size(), '0') +
                           std::to_string(now.tv_usec / 1000);
  std::string name = base + "." + extension;
  for (int n = 2; n < 1000 && access(name.c_str(), F_OK) == 0; ++n) name = base + "-" + std::to_string(n) + "." + extension;
  return name;
}

int snapshot(SarvikBaseContext* context, const CommandLine& line) {
  const std::string path = line.file.empty() ? defaultSnapshotName(line.imageFormat) : line.file;
  FileFormat format = fileFormatOf(path);
  // A device or FIFO has no extension to go by.
  if (format == FileFormat::kUnknown && isSpecialFile(path)) format = fileFormatOf("x." + line.imageFormat);
  if (format != FileFormat::kPng && format != FileFormat::kBmp) {
    return reportError("cannot tell the format of " + path + "; name it .png or .bmp");
  }
  std::string error;
  if (!checkOutputPath(path, line.force, &error)) return reportError(error);
  OpenCamera camera(context);
  VideoStream* stream = nullptr;
  if (camera.open(line.camera) != 0) return 1;
  if (applyModes(context, camera.device(), line.modeRequests) != 0) return 1;
  if (camera.openStream(SARVIK_STREAM_COLOR, &stream) != 0) return 1;
  typedefSarvikFrame* frame = nullptr;
  const int32_t status = context->readFrame(stream, &frame, kFirstFrameMs);
  if (status != 0) return reportFailure("reading a colour frame from " + camera.address(), status);
  FrameImage image;
  image.data = static_cast<const uint8_t*>(frame->data);
  image.width = frame->width;
  image.height = frame->height;
  image.bytesPerPixel = 3;
  std::vector<uint8_t> bytes;
  int exitCode = 0;
  if (image.data == nullptr || static_cast<uint64_t>(frame->width) * frame->height * 3 > frame->dataSize) {
    exitCode = reportError("the colour frame is " + std::to_string(frame->width) + "x" +
                           std::to_string(frame->height) + " with " + std::to_string(frame->dataSize) +
                           " bytes: not 3 bytes a pixel");
  } else if (!encodeImage(format, image, &bytes, &error) || !saveFile(path, line.force, bytes, &error)) {
    exitCode = reportError(error);
  } else {
    std::printf("saved %s (%ux%u %s)\n", path.c_str(), image.width, image.height, fileFormatName(format));
  }
  context->releaseFrame(frame);
  if (camera.close() != 0 && exitCode == 0) exitCode = 1;
  return exitCode;
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
