// The USB transport plug-in: the host over its back ends, simulated cameras
// and record files (playback/). Its own settings file is sarvikUvc.conf (README.md).
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "../host/host_plugin.h"
#include "../host/host_settings.h"
#include "../simcam/sim_backend.h"
#ifdef SARVIK_HAVE_PLAYBACK
#include "../playback/playback_backend.h"
#endif
#ifdef SARVIK_HAVE_V4L2
#include "../v4l2/v4l2_backend.h"
#endif

namespace {

sarvikhost::SimulatedPolicy simulatedPolicy(const sarvikhost::KeyValueFile& settings) {
  // The environment is the stronger word: tests and tools force cameras on or off.
  const char* forced = std::getenv(SARVIK_ENV_SIM_CAMERAS);
  if (forced != nullptr && forced[0] != '\0') {
    return std::strtol(forced, nullptr, 10) > 0 ? sarvikhost::SimulatedPolicy::On : sarvikhost::SimulatedPolicy::Off;
  }
  std::string value = settings.get("simulated", "auto");
  if (value == "yes" || value == "on") return sarvikhost::SimulatedPolicy::On;
  if (value == "no" || value == "off") return sarvikhost::SimulatedPolicy::Off;
  return sarvikhost::SimulatedPolicy::Auto;
}

#ifdef SARVIK_HAVE_PLAYBACK
// Files to play: every "play" line of the settings, then SARVIK_PLAY_FILES.
std::vector<std::string> filesToPlay(const sarvikhost::KeyValueFile& settings) {
  std::vector<std::string> paths = settings.all("play");
  const char* env = std::getenv(SARVIK_ENV_PLAY_FILES);
  std::string list = env != nullptr ? env : "";
  size_t start = 0;
  while (start <= list.size() && !list.empty()) {
    size_t colon = list.find(':', start);
    std::string path = list.substr(start, colon == std::string::npos ? std::string::npos : colon - start);
    if (!path.empty()) paths.push_back(path);
    if (colon == std::string::npos) break;
    start = colon + 1;
  }
  return paths;
}
#endif

}  // namespace

SARVIK_PLUGIN_EXPORT sarvik::DriverInterfaceBase* driverInstance() {
  sarvikhost::KeyValueFile settings = sarvikhost::loadSettings("sarvikUvc.conf");
  sarvikhost::HostOptions options;
  options.pluginName = "usb";
  options.connectionType = kSimTransportUsb;
  options.simulated = simulatedPolicy(settings);
#ifdef SARVIK_HAVE_PLAYBACK
  std::vector<std::string> files = filesToPlay(settings);
  // The environment is read after the settings, so that it wins.
  const char* speed = std::getenv(SARVIK_ENV_PLAY_SPEED);
  const char* loop = std::getenv(SARVIK_ENV_PLAY_LOOP);
  std::vector<std::string> errors;
  playback::PlaybackDefaults defaults = playback::PlaybackBackend::defaultsFrom(
      speed != nullptr ? speed : settings.get("speed"), loop != nullptr ? loop : settings.get("loop"), &errors);
  for (const std::string& error : errors) std::fprintf(stderr, "sarvik: usb: playback: %s\n", error.c_str());
#endif
  for (const std::string& error : settings.errors()) std::fprintf(stderr, "sarvik: usb: %s\n", error.c_str());
  return sarvikhost::createDriver(options, [&] {
    sarvikhost::BackendList backends;
    backends.emplace_back(new simcam::SimBackend(kSimTransportUsb));
#ifdef SARVIK_HAVE_PLAYBACK
    backends.emplace_back(new playback::PlaybackBackend(files, defaults));
#endif
#ifdef SARVIK_HAVE_V4L2
    backends.emplace_back(new v4l2cam::V4l2Backend());
#endif
    return backends;
  });
}

SARVIK_PLUGIN_EXPORT int32_t driverDestroy(sarvik::DriverInterfaceBase* driver) {
  return sarvikhost::destroyDriver(driver);
}

// Test and tool controls: plug a simulated camera out or in as if by hand.
// 0: changed, 1: it already was so, -1: no camera of that address in this
// library. The device-state event follows on the plug-in's event thread.
SARVIK_PLUGIN_EXPORT int32_t simcamUnplug(const char* uri) { return simcam::simSetPresentEverywhere(uri, false); }

SARVIK_PLUGIN_EXPORT int32_t simcamPlug(const char* uri) { return simcam::simSetPresentEverywhere(uri, true); }
