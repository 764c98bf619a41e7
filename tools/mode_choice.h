// Choosing a frame mode by what the user wrote: [TYPE=]WxH[@FPS][:FORMAT] or
// [TYPE=]INDEX, matched against the modes the camera lists.
#ifndef SARVIK_TOOLS_MODE_CHOICE_H
#define SARVIK_TOOLS_MODE_CHOICE_H

#include <cstdint>
#include <string>
#include <vector>

#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikCamera.h"

namespace sarvik {
namespace tools {

struct ModeRequest {
  std::string text;   // as given, for messages
  uint32_t type = 0;  // 0: the command's first stream
  bool byIndex = false;
  uint32_t index = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  int32_t fps = -1;     // -1: any
  int32_t format = -1;  // -1: any, else a SarvikPixelFormat
};

// False with *error saying what is wrong with `text`.
bool parseModeRequest(const std::string& text, ModeRequest* out, std::string* error);

// Every mode of a sensor; *status is getFrameModeList's.
std::vector<SarvikModeRecord> listModes(SarvikBaseContext* context, Device* device, uint32_t sensorType,
                                        int32_t* status);

// The first mode that matches; null when none does.
const SarvikModeRecord* findMode(const std::vector<SarvikModeRecord>& modes, const ModeRequest& request);

// "640x480@30 depth16".
std::string describeMode(const typedefSarvikFrameMode& mode);

// Sets the requested mode of every request on `device` before its streams
// open. Prints what failed, with the modes there are; returns the exit code.
int applyModes(SarvikBaseContext* context, Device* device, const std::vector<ModeRequest>& requests);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_MODE_CHOICE_H
