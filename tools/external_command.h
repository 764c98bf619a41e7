// Commands that are not built in: `sarvik NAME ARGS` runs the program
// sarvik-NAME with ARGS, found first in the folder of the running sarvik (an
// installed tree keeps them together), then on PATH, as git does.
#ifndef SARVIK_TOOLS_EXTERNAL_COMMAND_H
#define SARVIK_TOOLS_EXTERNAL_COMMAND_H

#include <string>
#include <vector>

namespace sarvik {
namespace tools {

// Whether `name` is one of the built-in subcommands.
bool isBuiltInCommand(const std::string& name);

// The program for `name`, or empty. Names other than letters, digits and
// '-' find nothing, so that no argument can lead out of the search folders.
std::string findExternalCommand(const std::string& name, const std::string& ownFolder, const char* path);

// Names (without "sarvik-") of every sarvik-NAME program in those places, sorted, each once.
std::vector<std::string> listExternalCommands(const std::string& ownFolder, const char* path);

// Replaces the process with sarvik-NAME; returns only on failure, with the
// exit code to use (2 for an unknown command, 1 if it could not start),
// after printing why.
int runExternalCommand(const std::string& name, int argc, char** argv);

// The folder of the running program.
std::string programFolder();

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_EXTERNAL_COMMAND_H
