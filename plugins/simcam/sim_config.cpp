#include "sim_config.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <sys/stat.h>

namespace simcam {

const uint32_t SimConfig::kSensorTypes[4] = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR,
                                             SARVIK_STREAM_LIGHT_IR};

int sensorSlot(uint32_t sensorType) {
  for (int i = 0; i < 4; ++i) {
    if (SimConfig::kSensorTypes[i] == sensorType) return i;
  }
  return -1;
}

namespace {

std::string trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return std::string();
  size_t e = s.find_last_not_of(" \t\r\n");
  return s.substr(b, e - b + 1);
}

std::vector<std::string> split(const std::string& s, char sep) {
  std::vector<std::string> parts;
  std::string part;
  std::istringstream in(s);
  while (std::getline(in, part, sep)) parts.push_back(trim(part));
  if (!s.empty() && s.back() == sep) parts.push_back(std::string());
  return parts;
}

bool parseUnsigned(const std::string& s, uint32_t maxValue, uint32_t* out) {
  if (s.empty() || s.find_first_not_of("0123456789") != std::string::npos || s.size() > 9) return false;
  unsigned long v = std::strtoul(s.c_str(), nullptr, 10);
  if (v > maxValue) return false;
  *out = static_cast<uint32_t>(v);
  return true;
}

bool parseBool(const std::string& s, bool* out) {
  if (s == "1" || s == "true" || s == "yes" || s == "on") {
    *out = true;
    return true;
  }
  if (s == "0" || s == "false" || s == "no" || s == "off") {
    *out = false;
    return true;
  }
  return false;
}

// "2.5s", "2.5", "500ms".
bool parseSeconds(const std::string& s, double* out) {
  std::string number = s;
  double unit = 1.0;
  if (number.size() > 2 && number.compare(number.size() - 2, 2, "ms") == 0) {
    number.resize(number.size() - 2);
    unit = 0.001;
  } else if (number.size() > 1 && number.back() == 's') {
    number.pop_back();
  }
  if (number.empty() || number.find_first_not_of("0123456789.") != std::string::npos) return false;
  char* end = nullptr;
  double v = std::strtod(number.c_str(), &end);
  if (end == nullptr || *end != '\0' || v < 0.0 || v > 86400.0) return false;
  *out = v * unit;
  return true;
}

int sensorSlotByName(const std::string& name) {
  if (name == "color" || name == "colour") return 0;
  if (name == "depth") return 1;
  if (name == "ir") return 2;
  if (name == "lightir" || name == "light_ir" || name == "light-ir") return 3;
  return -1;
}

bool formatByName(const std::string& name, SimPixelFormat* out) {
  if (name == "rgb") *out = kSimPixelRgb24;
  else if (name == "z16") *out = kSimPixelDepth16;
  else if (name == "y8") *out = kSimPixelGray8;
  else if (name == "y16") *out = kSimPixelGray16;
  else return false;
  return true;
}

bool formatFitsSensor(SimPixelFormat format, uint32_t sensorType) {
  switch (sensorType) {
    case SARVIK_STREAM_COLOR: return format == kSimPixelRgb24;
    case SARVIK_STREAM_DEPTH: return format == kSimPixelDepth16;
    default: return format == kSimPixelGray8 || format == kSimPixelGray16;
  }
}

SimPixelFormat defaultFormat(uint32_t sensorType) {
  switch (sensorType) {
    case SARVIK_STREAM_COLOR: return kSimPixelRgb24;
    case SARVIK_STREAM_DEPTH: return kSimPixelDepth16;
    default: return kSimPixelGray8;
  }
}

const char* kDefaultModes[4] = {
    "640x480@30, 1280x720@30, 320x240@60",
    "640x480@30, 320x240@30, 320x240@60",
    "640x480@30:y8, 640x480@30:y16",
    "640x480@30:y8",
};

// Largest frame the simulator agrees to make; keeps frameBytes far from overflow.
constexpr uint32_t kMaxSide = 8192;

}  // namespace

SimConfig::SimConfig() {
  for (int i = 0; i < 4; ++i) {
    std::string ignored;
    parseModeList(kDefaultModes[i], kSensorTypes[i], &m_commonModes[i], &ignored);
  }
  m_controlFile = kDefaultControlFile;
}

SimFrameMode SimConfig::makeMode(uint32_t sensorType, uint16_t width, uint16_t height, int8_t fps,
                                 SimPixelFormat format, uint16_t index) {
  SimFrameMode m{};
  m.mode.modeValue1 = width;
  m.mode.modeValue3 = height;
  m.mode.modeValue4 = format;
  m.mode.modeValue2 = fps;
  m.bytesPerPixel = format == kSimPixelRgb24 ? 3 : (format == kSimPixelGray8 ? 1 : 2);
  m.modeIndex = index;
  m.sensorType = sensorType;
  m.frameBytes = static_cast<uint32_t>(width) * height * m.bytesPerPixel;
  return m;
}

bool SimConfig::parseModeList(const std::string& text, uint32_t sensorType, std::vector<SimFrameMode>* out,
                              std::string* error) {
  std::vector<SimFrameMode> modes;
  if (!trim(text).empty()) {
    for (const std::string& entry : split(text, ',')) {
      uint32_t w = 0, h = 0, fps = 0;
      SimPixelFormat format = defaultFormat(sensorType);
      size_t x = entry.find('x'), at = entry.find('@'), colon = entry.find(':');
      bool ok = x != std::string::npos && at != std::string::npos && x < at &&
                parseUnsigned(entry.substr(0, x), kMaxSide, &w) &&
                parseUnsigned(entry.substr(x + 1, at - x - 1), kMaxSide, &h) &&
                parseUnsigned(entry.substr(at + 1, colon == std::string::npos ? std::string::npos : colon - at - 1),
                              127, &fps) &&
                w > 0 && h > 0;
      if (ok && colon != std::string::npos) {
        ok = colon > at && formatByName(entry.substr(colon + 1), &format) && formatFitsSensor(format, sensorType);
      }
      if (!ok) {
        *error = "bad mode '" + entry + "'";
        return false;
      }
      modes.push_back(makeMode(sensorType, static_cast<uint16_t>(w), static_cast<uint16_t>(h),
                               static_cast<int8_t>(fps), format, static_cast<uint16_t>(modes.size())));
    }
  }
  *out = std::move(modes);
  return true;
}

bool SimConfig::loadFile(const std::string& path) {
  struct stat st;
  int rc = ::stat(path.c_str(), &st);
  if (rc != 0 && errno == ENOENT) return true;
  std::ifstream in(path, std::ios::binary);
  if (rc != 0 || !S_ISREG(st.st_mode) || !in) {
    m_errors.push_back(path + ": cannot be read");
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  return parse(text.str());
}

bool SimConfig::parse(const std::string& text) {
  bool allGood = true;
  std::istringstream in(text);
  std::string raw;
  for (int lineNo = 1; std::getline(in, raw); ++lineNo) {
    std::string line = trim(raw.substr(0, raw.find('#')));
    if (line.empty()) continue;
    size_t eq = line.find('=');
    std::string error;
    if (eq == std::string::npos) {
      error = "expected 'key = value'";
    } else {
      applyLine(trim(line.substr(0, eq)), trim(line.substr(eq + 1)), &error);
    }
    if (!error.empty()) {
      m_errors.push_back("line " + std::to_string(lineNo) + ": " + error);
      allGood = false;
    }
  }
  return allGood;
}

bool SimConfig::applyLine(const std::string& key, const std::string& value, std::string* error) {
  if (key == "flatout") {
    if (!parseBool(value, &m_flatOut)) *error = "flatout wants a boolean";
  } else if (key == "pixels") {
    if (value == "scene") m_renderPixels = true;
    else if (value == "none") m_renderPixels = false;
    else *error = "pixels wants 'scene' or 'none'";
  } else if (key == "control") {
    if (value.empty()) *error = "control wants a path or 'none'";
    else m_controlFile = value == "none" ? std::string() : value;
  } else if (key == "hotplug") {
    applyHotplug(value, error);
  } else if (key.compare(0, 6, "modes.") == 0) {
    int slot = sensorSlotByName(key.substr(6));
    if (slot < 0) *error = "unknown sensor in '" + key + "'";
    else parseModeList(value, kSensorTypes[slot], &m_commonModes[slot], error);
  } else if (key.compare(0, 4, "usb.") == 0) {
    applyTransportKey(m_usb, key.substr(4), value, error);
  } else if (key.compare(0, 4, "net.") == 0) {
    applyTransportKey(m_net, key.substr(4), value, error);
  } else {
    *error = "unknown key '" + key + "'";
  }
  return error->empty();
}

bool SimConfig::applyTransportKey(TransportSettings& t, const std::string& rest, const std::string& value,
                                  std::string* error) {
  if (rest == "cameras") {
    if (!parseUnsigned(value, kSimMaxCameras, &t.cameras)) *error = "cameras wants 0 to 60";
    return error->empty();
  }
  if (rest.compare(0, 6, "modes.") == 0) {
    int slot = sensorSlotByName(rest.substr(6));
    if (slot < 0) {
      *error = "unknown sensor '" + rest.substr(6) + "'";
    } else if (parseModeList(value, kSensorTypes[slot], &t.modes[slot], error)) {
      t.hasModes[slot] = true;
    }
    return error->empty();
  }
  size_t dot = rest.find('.');
  uint32_t index = 0;
  if (dot == std::string::npos || !parseUnsigned(rest.substr(0, dot), kSimMaxCameras - 1, &index)) {
    *error = "unknown key '" + rest + "'";
    return false;
  }
  SimCameraSettings parsed = index < t.perCamera.size() ? t.perCamera[index] : SimCameraSettings();
  std::string field = rest.substr(dot + 1);
  // Lengths leave room for the NUL in the device record and the task record.
  if (field == "serial") {
    if (value.empty() || value.size() > 31) *error = "serial wants 1 to 31 characters";
    else parsed.serial = value;
  } else if (field == "location") {
    if (value.empty() || value.size() > 63) *error = "location wants 1 to 63 characters";
    else parsed.location = value;
  } else if (field == "present") {
    if (!parseBool(value, &parsed.present)) *error = "present wants a boolean";
  } else {
    *error = "unknown camera setting '" + field + "'";
  }
  if (!error->empty()) return false;
  if (t.perCamera.size() <= index) t.perCamera.resize(index + 1);
  t.perCamera[index] = parsed;
  return true;
}

// "unplug usb://sim/0 at 2.0s, plug at 4.0s": an item without an address
// repeats the one before it on the same line.
bool SimConfig::applyHotplug(const std::string& value, std::string* error) {
  std::vector<SimHotplugStep> steps;
  std::string lastUri;
  for (const std::string& item : split(value, ',')) {
    std::istringstream words(item);
    std::vector<std::string> w;
    for (std::string word; words >> word;) w.push_back(word);
    SimHotplugStep step;
    bool ok = (w.size() == 3 || w.size() == 4) && (w[0] == "plug" || w[0] == "unplug") && w[w.size() - 2] == "at" &&
              parseSeconds(w.back(), &step.atSeconds);
    if (ok) {
      step.plug = w[0] == "plug";
      step.uri = w.size() == 4 ? w[1] : lastUri;
      ok = step.uri.find("://") != std::string::npos;
    }
    if (!ok) {
      *error = "bad hotplug step '" + item + "'";
      return false;
    }
    lastUri = step.uri;
    steps.push_back(step);
  }
  m_hotplug.insert(m_hotplug.end(), steps.begin(), steps.end());
  return true;
}

SimConfig::TransportSettings& SimConfig::settingsOf(SimTransport transport) {
  return transport == kSimTransportNet ? m_net : m_usb;
}

const SimConfig::TransportSettings& SimConfig::settingsOf(SimTransport transport) const {
  return transport == kSimTransportNet ? m_net : m_usb;
}

uint32_t SimConfig::cameraCount(SimTransport transport) const { return settingsOf(transport).cameras; }

SimCameraSettings SimConfig::camera(SimTransport transport, uint32_t index) const {
  const TransportSettings& t = settingsOf(transport);
  SimCameraSettings s = index < t.perCamera.size() ? t.perCamera[index] : SimCameraSettings();
  if (s.serial.empty()) s.serial = defaultSerial(transport, index);
  if (s.location.empty()) s.location = defaultLocation(transport, index);
  return s;
}

const std::vector<SimFrameMode>& SimConfig::modes(SimTransport transport, uint32_t sensorType) const {
  static const std::vector<SimFrameMode> kNone;
  int slot = sensorSlot(sensorType);
  if (slot < 0) return kNone;
  const TransportSettings& t = settingsOf(transport);
  return t.hasModes[slot] ? t.modes[slot] : m_commonModes[slot];
}

std::string SimConfig::uriOf(SimTransport transport, uint32_t index) {
  return (transport == kSimTransportNet ? "net://sim/" : "usb://sim/") + std::to_string(index);
}

std::string SimConfig::nodePathOf(uint32_t index) { return "/dev/video" + std::to_string(index); }

std::string SimConfig::defaultSerial(SimTransport transport, uint32_t index) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "SIM%u%c%07u", index, transport == kSimTransportNet ? 'N' : 'U', index + 1);
  return buf;
}

std::string SimConfig::defaultLocation(SimTransport transport, uint32_t index) {
  // The two transports number their cameras independently; distinct defaults
  // keep a task of one from matching the other's events.
  return (transport == kSimTransportNet ? "sim-location-net-" : "sim-location-") + std::to_string(index);
}

}  // namespace simcam
