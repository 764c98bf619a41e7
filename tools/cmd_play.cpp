// sarvik play FILE: a record file as a camera, shown as `sarvik stream`
// shows a live one. The file is handed to the USB plug-in through the
// environment before the module starts, so it stands in the device table
// like any camera; speed and loop go the same way.
#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "sarvik/SarvikCamera.h"
#include "tools/commands.h"
#include "tools/record_file.h"
#include "tools/run_environment.h"

namespace sarvik {
namespace tools {

namespace {

// Seconds from the first stamp to the last; 0 for a file with no entry.
double recordedSeconds(const std::string& path) {
  RecordFileReader reader;
  std::string error;
  if (!reader.open(path, 0, &error)) return 0.0;
  RecordEntry entry;
  uint64_t first = UINT64_MAX, last = 0;
  while (reader.next(&entry)) {
    first = std::min(first, entry.tag.frameStamp);
    last = std::max(last, entry.tag.frameStamp);
  }
  return first == UINT64_MAX ? 0.0 : static_cast<double>(last - first) / 1e6;
}

}  // namespace

int runPlay(const CommandLine& line) {
  char resolved[PATH_MAX];
  if (realpath(line.file.c_str(), resolved) == nullptr) {
    std::fprintf(stderr, "%s: no such file\n", line.file.c_str());
    return 1;
  }
  const std::string path = resolved;
  setenv(SARVIK_ENV_PLAY_FILES, withPlayFile(getenv(SARVIK_ENV_PLAY_FILES), path).c_str(), 1);
  setenv(SARVIK_ENV_PLAY_SPEED, std::to_string(line.speed).c_str(), 1);
  setenv(SARVIK_ENV_PLAY_LOOP, line.loop ? "1" : "0", 1);

  CommandLine stream = line;
  stream.command = Command::kStream;
  stream.camera = SARVIK_FILE_SCHEME + path;
  if (stream.seconds <= 0.0 && !line.loop && line.speed > 0.0) {
    // The stream view waits for a camera that went to come back; a file that
    // ended comes back once closed, so without a limit it would play again.
    // Its own length, at the chosen speed, plus a moment to start.
    stream.seconds = recordedSeconds(path) / line.speed + 0.5;
  }
  return runStream(stream);
}

}  // namespace tools
}  // namespace sarvik
