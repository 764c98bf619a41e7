#include "tools/mode_choice.h"

#include <cstdio>

#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

// Whole decimal number of at most `digits` digits.
bool readNumber(const std::string& text, size_t* at, size_t digits, uint32_t* value) {
  size_t end = *at;
  while (end < text.size() && end - *at < digits + 1 && text[end] >= '0' && text[end] <= '9') ++end;
  if (end == *at || end - *at > digits) return false;
  *value = static_cast<uint32_t>(std::stoul(text.substr(*at, end - *at)));
  *at = end;
  return true;
}

bool formatCode(const std::string& name, int32_t* code) {
  for (int32_t c = 0; c < 8; ++c) {
    const char* known = sarvikPixelName(static_cast<uint32_t>(c));
    if (known != nullptr && name == known) {
      *code = c;
      return true;
    }
  }
  return false;
}

}  // namespace

bool parseModeRequest(const std::string& text, ModeRequest* out, std::string* error) {
  *out = ModeRequest();
  out->text = text;
  const std::string form = "; write [TYPE=]WxH[@FPS][:FORMAT] or [TYPE=]INDEX, e.g. depth=640x480@30";
  std::string rest = text;
  const size_t equals = rest.find('=');
  if (equals != std::string::npos) {
    if (!parseStreamType(rest.substr(0, equals), &out->type)) {
      *error = "--mode " + text + ": unknown stream type '" + rest.substr(0, equals) + "'" + form;
      return false;
    }
    rest = rest.substr(equals + 1);
  }
  size_t at = 0;
  uint32_t first = 0;
  if (!readNumber(rest, &at, 5, &first)) {
    *error = "--mode " + text + ": no size or index" + form;
    return false;
  }
  if (at == rest.size()) {
    out->byIndex = true;
    out->index = first;
    return true;
  }
  out->width = first;
  if (rest[at] != 'x' || !readNumber(rest, &++at, 5, &out->height) || out->width == 0 || out->height == 0 ||
      out->width > 65535 || out->height > 65535) {
    *error = "--mode " + text + ": bad size" + form;
    return false;
  }
  if (at < rest.size() && rest[at] == '@') {
    uint32_t fps = 0;
    if (!readNumber(rest, &++at, 3, &fps) || fps > 127) {
      *error = "--mode " + text + ": frames a second must be 0 to 127" + form;
      return false;
    }
    out->fps = static_cast<int32_t>(fps);
  }
  if (at < rest.size() && rest[at] == ':') {
    if (!formatCode(rest.substr(at + 1), &out->format)) {
      *error = "--mode " + text + ": unknown format '" + rest.substr(at + 1) + "'; rgb24, depth16, gray8 or gray16";
      return false;
    }
    at = rest.size();
  }
  if (at != rest.size()) {
    *error = "--mode " + text + ": unexpected '" + rest.substr(at) + "'" + form;
    return false;
  }
  return true;
}

std::vector<SarvikModeRecord> listModes(SarvikBaseContext* context, Device* device, uint32_t sensorType,
                                        int32_t* status) {
  uint32_t count = 0;
  *status = context->getFrameModeList(device, sensorType, 0, reinterpret_cast<uintptr_t>(&count));
  // A camera may answer a bare count with an error; ask with room then.
  if (*status != 0 || count == 0 || count > 4096) count = 256;
  std::vector<SarvikModeRecord> modes(count);
  uint32_t room = count;
  *status = context->getFrameModeList(device, sensorType, reinterpret_cast<uintptr_t>(modes.data()),
                                      reinterpret_cast<uintptr_t>(&room));
  if (*status != 0) return {};
  modes.resize(room < count ? room : count);
  return modes;
}

const SarvikModeRecord* findMode(const std::vector<SarvikModeRecord>& modes, const ModeRequest& request) {
  for (size_t i = 0; i < modes.size(); ++i) {
    const typedefSarvikFrameMode& m = modes[i].mode;
    if (request.byIndex) {
      if (i == request.index) return &modes[i];
      continue;
    }
    if (sarvikModeWidth(m) != request.width || sarvikModeHeight(m) != request.height) continue;
    if (request.fps >= 0 && sarvikModeFps(m) != request.fps) continue;
    if (request.format >= 0 && sarvikModeFormat(m) != request.format) continue;
    return &modes[i];
  }
  return nullptr;
}

std::string describeMode(const typedefSarvikFrameMode& mode) {
  const char* format = sarvikPixelName(sarvikModeFormat(mode));
  char text[96];
  std::snprintf(text, sizeof text, "%ux%u@%d %s", sarvikModeWidth(mode), sarvikModeHeight(mode),
                sarvikModeFps(mode), format != nullptr ? format : "format?");
  return text;
}

int applyModes(SarvikBaseContext* context, Device* device, const std::vector<ModeRequest>& requests) {
  for (const ModeRequest& request : requests) {
    const std::string type = streamTypeName(request.type);
    int32_t status = 0;
    const std::vector<SarvikModeRecord> modes = listModes(context, device, request.type, &status);
    if (modes.empty()) {
      return reportFailure("listing the " + type + " modes", status,
                           "the camera has no " + type + " sensor; `sarvik info` shows what it has");
    }
    const SarvikModeRecord* mode = findMode(modes, request);
    if (mode == nullptr) {
      std::string known;
      for (size_t i = 0; i < modes.size(); ++i) {
        known += (i == 0 ? "" : ", ") + std::to_string(i) + ": " + describeMode(modes[i].mode);
      }
      std::fprintf(stderr, "sarvik: --mode %s: the camera has no such %s mode; it has %s\n", request.text.c_str(),
                   type.c_str(), known.c_str());
      return 1;
    }
    status = context->setFrameMode(device, request.type, &mode->mode);
    if (status != 0) return reportFailure("setting the " + type + " mode " + describeMode(mode->mode), status);
  }
  return 0;
}

}  // namespace tools
}  // namespace sarvik
