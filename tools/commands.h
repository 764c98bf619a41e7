// The subcommands. Each returns the program's exit code: 0 on success, 1
// when a module call or a file failed (after printing which), and for
// `inspect` 1 for a damaged file.
#ifndef SARVIK_TOOLS_COMMANDS_H
#define SARVIK_TOOLS_COMMANDS_H

#include "tools/command_line.h"

namespace sarvik {
namespace tools {

int runDevices(const CommandLine& line);
int runInfo(const CommandLine& line);
int runStream(const CommandLine& line);
int runWatch(const CommandLine& line);
int runRecord(const CommandLine& line);
int runInspect(const CommandLine& line);
int runExport(const CommandLine& line);
int runSnapshot(const CommandLine& line);
int runCloud(const CommandLine& line);
int runPlay(const CommandLine& line);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_COMMANDS_H
