#include "camera_modes.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace sarvik_gst {

std::vector<SarvikModeRecord> readModes(SarvikBaseContext* context, sarvik::Device* device,
                                        uint32_t sensorType, int32_t* status) {
  uint32_t count = 0;
  int32_t result = context->getFrameModeList(device, sensorType, 0, reinterpret_cast<uint64_t>(&count));
  std::vector<SarvikModeRecord> modes;
  // A camera that answers an absurd count is not believed; 4096 modes is
  // beyond any sensor.
  if (result == 0 && count > 0 && count <= 4096) {
    modes.resize(count);
    result = context->getFrameModeList(device, sensorType, reinterpret_cast<uint64_t>(modes.data()),
                                       reinterpret_cast<uint64_t>(&count));
    modes.resize(result == 0 ? std::min<size_t>(count, modes.size()) : 0);
  }
  if (status != nullptr) *status = result;
  return modes;
}

const char* videoFormatName(uint32_t pixelFormat) {
  switch (pixelFormat) {
    case SARVIK_PIXEL_RGB24: return "RGB";
    case SARVIK_PIXEL_DEPTH16: return "GRAY16_LE";
    case SARVIK_PIXEL_GRAY8: return "GRAY8";
    case SARVIK_PIXEL_GRAY16: return "GRAY16_LE";
    default: return nullptr;
  }
}

bool parseModeSelector(const std::string& text, ModeSelector* selector) {
  *selector = ModeSelector();
  if (text.empty()) return true;
  const char* p = text.c_str();
  char* end = nullptr;
  errno = 0;
  const long first = std::strtol(p, &end, 10);
  if (end == p || first < 0 || first > 65535 || errno != 0) return false;
  if (*end == '\0') {
    selector->any = false;
    selector->index = static_cast<int>(first);
    return true;
  }
  if (*end != 'x' && *end != 'X') return false;
  p = end + 1;
  const long height = std::strtol(p, &end, 10);
  if (end == p || height <= 0 || height > 65535 || first == 0) return false;
  long fps = -1;
  if (*end == '@') {
    p = end + 1;
    fps = std::strtol(p, &end, 10);
    if (end == p || fps < 0 || fps > 127) return false;
  }
  if (*end != '\0') return false;
  selector->any = false;
  selector->width = static_cast<int>(first);
  selector->height = static_cast<int>(height);
  selector->fps = static_cast<int>(fps);
  return true;
}

bool selectorMatches(const ModeSelector& selector, const SarvikModeRecord& mode) {
  if (selector.any) return true;
  if (selector.index >= 0) return mode.modeIndex == selector.index;
  return sarvikModeWidth(mode.mode) == selector.width && sarvikModeHeight(mode.mode) == selector.height &&
         (selector.fps < 0 || sarvikModeFps(mode.mode) == selector.fps);
}

namespace {

GstStructure* modeStructure(const SarvikModeRecord& mode) {
  const char* format = videoFormatName(sarvikModeFormat(mode.mode));
  if (format == nullptr || sarvikModeWidth(mode.mode) == 0 || sarvikModeHeight(mode.mode) == 0) return nullptr;
  // A rate of 0 means "as fast as the camera can": variable, 0/1 in caps.
  const int fps = sarvikModeFps(mode.mode) > 0 ? sarvikModeFps(mode.mode) : 0;
  return gst_structure_new("video/x-raw", "format", G_TYPE_STRING, format, "width", G_TYPE_INT,
                           static_cast<int>(sarvikModeWidth(mode.mode)), "height", G_TYPE_INT,
                           static_cast<int>(sarvikModeHeight(mode.mode)), "framerate", GST_TYPE_FRACTION, fps,
                           1, nullptr);
}

}  // namespace

GstCaps* modesToCaps(const std::vector<SarvikModeRecord>& modes, const ModeSelector& selector,
                     const typedefSarvikFrameMode* first) {
  GstCaps* caps = gst_caps_new_empty();
  auto add = [&](bool wantFirst) {
    for (const SarvikModeRecord& mode : modes) {
      const bool isFirst = first != nullptr && sarvikModeEquals(mode.mode, *first);
      if (isFirst != wantFirst || !selectorMatches(selector, mode)) continue;
      if (GstStructure* s = modeStructure(mode)) gst_caps_append_structure(caps, s);
    }
  };
  add(true);
  add(false);
  return caps;
}

int modeForCaps(const std::vector<SarvikModeRecord>& modes, const GstCaps* caps) {
  if (caps == nullptr || gst_caps_get_size(caps) == 0) return -1;
  for (size_t i = 0; i < modes.size(); ++i) {
    GstStructure* s = modeStructure(modes[i]);
    if (s == nullptr) continue;
    GstCaps* one = gst_caps_new_full(s, nullptr);
    const bool same = gst_caps_is_subset(caps, one);
    gst_caps_unref(one);
    if (same) return static_cast<int>(i);
  }
  return -1;
}

std::string describeMode(const SarvikModeRecord& mode) {
  const char* pixel = sarvikPixelName(sarvikModeFormat(mode.mode));
  return std::to_string(sarvikModeWidth(mode.mode)) + "x" + std::to_string(sarvikModeHeight(mode.mode)) + "@" +
         std::to_string(sarvikModeFps(mode.mode)) + " (" + (pixel != nullptr ? pixel : "unknown pixels") + ")";
}

std::string describeModes(const std::vector<SarvikModeRecord>& modes) {
  std::string text;
  for (const SarvikModeRecord& mode : modes) {
    if (!text.empty()) text += ", ";
    text += describeMode(mode);
  }
  return text.empty() ? std::string("none") : text;
}

}  // namespace sarvik_gst
