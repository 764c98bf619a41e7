// Runs the built `sarvik` as a user would: a child process with its own
// arguments, environment additions and working folder, its output captured.
// Every run is bounded: a child still running after the limit is killed and
// the run counts as failed, so a hang shows as a failure, never as a stuck
// suite.
#ifndef SARVIK_TESTS_TOOLS_PROGRAM_RUNNER_H
#define SARVIK_TESTS_TOOLS_PROGRAM_RUNNER_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace sarvik {
namespace tools {

struct ProgramResult {
  int exitCode = -1;  // -1: killed by a signal or by the limit
  bool timedOut = false;
  std::string out;
  std::string err;
};

struct ProgramOptions {
  std::vector<std::pair<std::string, std::string>> environment;
  std::string folder;            // working folder; empty: ours
  uint64_t fileSizeLimit = 0;    // RLIMIT_FSIZE for the child; 0: none
  int limitSeconds = 120;
  bool ownGroup = false;         // the child leads a process group of its own
  // Called with the child's pid and the output so far, each time output
  // arrives; lets a test signal the child once it has started.
  std::function<void(pid_t, const std::string&)> onOutput;
};

inline ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args,
                                const ProgramOptions& options = ProgramOptions()) {
  ProgramResult result;
  int outPipe[2], errPipe[2];
  if (pipe2(outPipe, O_CLOEXEC) != 0 || pipe2(errPipe, O_CLOEXEC) != 0) return result;
  const pid_t child = fork();
  if (child < 0) return result;
  if (child == 0) {
    if (options.ownGroup) setpgid(0, 0);
    dup2(outPipe[1], 1);
    dup2(errPipe[1], 2);
    for (const auto& variable : options.environment) setenv(variable.first.c_str(), variable.second.c_str(), 1);
    if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) _exit(126);
    if (options.fileSizeLimit != 0) {
      rlimit limit{options.fileSizeLimit, options.fileSizeLimit};
      setrlimit(RLIMIT_FSIZE, &limit);
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(outPipe[1]);
  close(errPipe[1]);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(options.limitSeconds);
  pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
  int open = 2;
  while (open > 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      result.timedOut = true;
      kill(child, SIGKILL);
      break;
    }
    if (poll(fds, 2, static_cast<int>(std::min<long long>(left.count(), 1000))) < 0) continue;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
      char buffer[4096];
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n <= 0) {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
        continue;
      }
      (i == 0 ? result.out : result.err).append(buffer, static_cast<size_t>(n));
      if (options.onOutput) options.onOutput(child, result.out);
    }
  }
  for (pollfd& fd : fds) {
    if (fd.fd >= 0) close(fd.fd);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!result.timedOut && WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  return result;
}

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TESTS_TOOLS_PROGRAM_RUNNER_H
