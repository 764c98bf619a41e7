#include "tools/run_environment.h"

#include <climits>
#include <cstdlib>

#include "sarvik/SarvikCamera.h"

namespace sarvik {
namespace tools {

const char* logLevelsFor(int verbosity) {
  if (verbosity <= 0) return "2,3";
  if (verbosity == 1) return "2,3,4";
  return "0,1,2,3,4";
}

std::string withPlayFile(const char* current, const std::string& path) {
  const std::string list = current != nullptr ? current : "";
  if (list.empty()) return path;
  // Already there: the plug-in would otherwise offer the same file twice.
  if ((":" + list + ":").find(":" + path + ":") != std::string::npos) return list;
  return list + ":" + path;
}

void prepareEnvironment(CommandLine& line) {
  // A user who set the variable and asked for nothing else keeps theirs.
  const char* chosen = std::getenv("SARVIK_LOG_LEVELS");
  if (line.verbosity > 0 || chosen == nullptr || chosen[0] == '\0') {
    setenv("SARVIK_LOG_LEVELS", logLevelsFor(line.verbosity), 1);
  }
  if (!line.logFile.empty()) setenv("SARVIK_LOG_FILE", line.logFile.c_str(), 1);
  const std::string scheme = SARVIK_FILE_SCHEME;
  if (line.camera.rfind(scheme, 0) == 0) {
    std::string path = line.camera.substr(scheme.size());
    // The plug-in wants absolute paths; file://name.rec is taken from here.
    char resolved[PATH_MAX];
    if (!path.empty() && path[0] != '/' && realpath(path.c_str(), resolved) != nullptr) path = resolved;
    setenv(SARVIK_ENV_PLAY_FILES, withPlayFile(std::getenv(SARVIK_ENV_PLAY_FILES), path).c_str(), 1);
    line.camera = scheme + path;
  }
}

}  // namespace tools
}  // namespace sarvik
