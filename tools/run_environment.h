// What the program tells the module's plug-ins through the environment,
// before the module is loaded: which log levels reach the console (the
// project's log plug-in reads SARVIK_LOG_LEVELS and SARVIK_LOG_FILE), and
// which record files to play as cameras (SARVIK_PLAY_FILES).
#ifndef SARVIK_TOOLS_RUN_ENVIRONMENT_H
#define SARVIK_TOOLS_RUN_ENVIRONMENT_H

#include <string>

#include "tools/command_line.h"

namespace sarvik {
namespace tools {

// "2,3" quiet: warnings and errors only; -v adds milestones (4); -vv everything.
const char* logLevelsFor(int verbosity);

// The value of SARVIK_PLAY_FILES after adding `path` to `current` (may be null).
std::string withPlayFile(const char* current, const std::string& path);

// Also turns a relative file:// camera into the absolute address the plug-in lists.
void prepareEnvironment(CommandLine& line);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_RUN_ENVIRONMENT_H
