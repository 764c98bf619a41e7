// sarvik: a command-line front end to the depth-camera SDK module.
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/external_command.h"
#include "tools/run_environment.h"

using namespace sarvik::tools;

int main(int argc, char** argv) {
  // A file size limit then fails the write that meets it with EFBIG, which
  // is reported like a full disk, instead of killing the program.
  signal(SIGXFSZ, SIG_IGN);
  if (argc >= 2 && argv[1][0] != '-' && !isBuiltInCommand(argv[1])) {
    return runExternalCommand(argv[1], argc - 2, argv + 2);
  }
  CommandLine line;
  const ParseOutcome outcome =
      parseCommandLine(argc, argv, &line, listExternalCommands(programFolder(), std::getenv("PATH")));
  if (!outcome.run) {
    std::fputs(outcome.text.c_str(), outcome.exitCode == 0 ? stdout : stderr);
    return outcome.exitCode;
  }
  // Progress lines of the long-running subcommands must show up as they
  // happen also when the output goes to a pipe.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  prepareEnvironment(line);
  switch (line.command) {
    case Command::kDevices: return runDevices(line);
    case Command::kInfo: return runInfo(line);
    case Command::kStream: return runStream(line);
    case Command::kWatch: return runWatch(line);
    case Command::kRecord: return runRecord(line);
    case Command::kInspect: return runInspect(line);
    case Command::kExport: return runExport(line);
    case Command::kSnapshot: return runSnapshot(line);
    case Command::kCloud: return runCloud(line);
    case Command::kPlay: return runPlay(line);
  }
  return 2;
}
