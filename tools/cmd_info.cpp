#include <cctype>
#include <cstdio>
#include <string>
#include <vector>

#include "plugins/simcam/sim_frame_mode.h"
#include "tools/commands.h"
#include "tools/open_camera.h"
#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

constexpr uint32_t kSensorTypes[] = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR,
                                     SARVIK_STREAM_LIGHT_IR};
// Room offered to getFrameModeList; a sensor with more modes shows the first ones.
constexpr uint32_t kModeRoom = 64;
constexpr uint32_t kProperty72Bytes = 82;
constexpr uint32_t kStreamFlagModeProperty = 75;

const char* pixelFormatName(uint16_t format) {
  switch (format) {
    case kSimPixelRgb24: return "rgb24";
    case kSimPixelDepth16: return "depth16";
    case kSimPixelGray8: return "gray8";
    case kSimPixelGray16: return "gray16";
    default: return "format ?";
  }
}

void printModes(SarvikBaseContext* context, Device* device, uint32_t sensorType) {
  std::vector<SimFrameMode> modes(kModeRoom);
  uint32_t count = kModeRoom;
  // The two words carry the plug-in's own arguments: the array and its count.
  const int32_t status = context->getFrameModeList(device, sensorType, reinterpret_cast<uintptr_t>(modes.data()),
                                                   reinterpret_cast<uintptr_t>(&count));
  if (status != 0) {
    std::printf("%s: no modes (getFrameModeList: %d)\n", streamTypeName(sensorType).c_str(), status);
    return;
  }
  const typedefSarvikFrameMode* current = context->getCurrentFrameMode(device, sensorType);
  std::printf("%s: %u mode%s\n", streamTypeName(sensorType).c_str(), count, count == 1 ? "" : "s");
  for (uint32_t i = 0; i < count && i < kModeRoom; ++i) {
    const typedefSarvikFrameMode& m = modes[i].mode;
    const bool isCurrent = current != nullptr && simModeEquals(*current, m);
    std::printf("  %c %ux%u @ %d fps  %s\n", isCurrent ? '*' : ' ', simModeWidth(m), simModeHeight(m),
                simModeFps(m), pixelFormatName(simModeFormat(m)));
  }
}

void printHexDump(const uint8_t* bytes, uint32_t size) {
  for (uint32_t line = 0; line < size; line += 16) {
    std::printf("  %04x ", line);
    std::string text;
    for (uint32_t i = line; i < line + 16; ++i) {
      if (i < size) {
        std::printf(" %02x", bytes[i]);
        text += std::isprint(bytes[i]) ? static_cast<char>(bytes[i]) : '.';
      } else {
        std::printf("   ");
      }
    }
    std::printf("  |%s|\n", text.c_str());
  }
}

// Runs of four or more printable characters, as `strings` would show them.
void printTexts(const uint8_t* bytes, uint32_t size) {
  std::string run, texts;
  for (uint32_t i = 0; i <= size; ++i) {
    if (i < size && std::isprint(bytes[i])) {
      run += static_cast<char>(bytes[i]);
      continue;
    }
    if (run.size() >= 4) texts += (texts.empty() ? "\"" : ", \"") + run + "\"";
    run.clear();
  }
  std::printf("  texts: %s\n", texts.empty() ? "none" : texts.c_str());
}

// The layout of the property-72 block is the camera's own business, so it is
// shown raw rather than decoded.
void printProperties(SarvikBaseContext* context, Device* device) {
  uint8_t block[kProperty72Bytes] = {};
  int32_t status = context->getDeviceProperty72(device, block);
  if (status == 0) {
    std::printf("property 72 (%u bytes):\n", kProperty72Bytes);
    printHexDump(block, kProperty72Bytes);
    printTexts(block, kProperty72Bytes);
  } else {
    std::printf("property 72: no answer (%d)\n", status);
  }
  int32_t mode = 0;
  uint32_t length = sizeof mode;
  status = context->getDeviceProperty(device, kStreamFlagModeProperty, &mode, &length);
  if (status == 0) {
    std::printf("property 75 (stream flag mode): %d\n", mode);
  } else {
    std::printf("property 75: no answer (%d)\n", status);
  }
}

}  // namespace

int runInfo(const CommandLine& line) {
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  int exitCode = 0;
  {
    OpenCamera camera(sdk.context());
    if (camera.open(line.address) != 0) {
      exitCode = 1;
    } else {
      std::printf("%s\n", line.address.c_str());
      for (uint32_t type : kSensorTypes) printModes(sdk.context(), camera.device(), type);
      // Properties are informative: a camera that answers none is still fine.
      printProperties(sdk.context(), camera.device());
      if (camera.close() != 0) exitCode = 1;
    }
  }
  return finishSession(&sdk, exitCode);
}

}  // namespace tools
}  // namespace sarvik
