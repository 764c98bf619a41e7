// A sensor's modes as the camera lists them, and their GStreamer caps.
#ifndef SARVIK_GST_CAMERA_MODES_H
#define SARVIK_GST_CAMERA_MODES_H

#include <gst/gst.h>

#include <cstdint>
#include <string>
#include <vector>

#include "sarvik/SarvikBaseContext.h"
#include "sarvik/SarvikCamera.h"

namespace sarvik_gst {

// The modes of one sensor, in the camera's order (the first is the one a
// device opens with). Empty with *status the camera's answer when it has no
// such sensor or the list cannot be read.
std::vector<SarvikModeRecord> readModes(SarvikBaseContext* context, sarvik::Device* device,
                                        uint32_t sensorType, int32_t* status);

// "RGB", "GRAY16_LE" or "GRAY8" for a pixel code; null for one GStreamer
// gets no format for.
const char* videoFormatName(uint32_t pixelFormat);

// What the `mode` property may say: "" (any), an index, "WxH" or "WxH@fps".
struct ModeSelector {
  bool any = true;
  int index = -1;
  int width = 0, height = 0, fps = -1;  // fps -1: any rate
};
// False for text that is none of the above.
bool parseModeSelector(const std::string& text, ModeSelector* selector);
bool selectorMatches(const ModeSelector& selector, const SarvikModeRecord& mode);

// One fixed structure per usable mode, `first` (if it is among them) ahead
// of the rest so that fixation picks it; modes the selector refuses are left out.
GstCaps* modesToCaps(const std::vector<SarvikModeRecord>& modes, const ModeSelector& selector,
                     const typedefSarvikFrameMode* first);

// Index in `modes` of the mode that fixed caps describe, or -1.
int modeForCaps(const std::vector<SarvikModeRecord>& modes, const GstCaps* caps);

// "640x480@30 (depth16), 320x240@30 (depth16)", for error messages.
std::string describeModes(const std::vector<SarvikModeRecord>& modes);
std::string describeMode(const SarvikModeRecord& mode);

}  // namespace sarvik_gst

#endif  // SARVIK_GST_CAMERA_MODES_H
