#include "tools/external_command.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sarvik/SarvikLoader.h"

namespace sarvik {
namespace tools {

namespace {

const char* const kPrefix = "sarvik-";

bool isExecutableFile(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

std::vector<std::string> searchFolders(const std::string& ownFolder, const char* path) {
  std::vector<std::string> folders;
  if (!ownFolder.empty()) folders.push_back(ownFolder);
  const std::string list = path != nullptr ? path : "";
  size_t start = 0;
  while (start <= list.size()) {
    const size_t colon = std::min(list.find(':', start), list.size());
    // An empty entry means the current folder, which we do not search:
    // a command should not change with where it is run.
    if (colon > start) folders.push_back(list.substr(start, colon - start));
    start = colon + 1;
  }
  return folders;
}

bool isPlainName(const std::string& name) {
  return !name.empty() && name.size() <= 64 && name[0] != '-' &&
         name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-") == std::string::npos;
}

}  // namespace

bool isBuiltInCommand(const std::string& name) {
  static const char* const kBuiltIn[] = {"devices", "info",   "stream",   "watch", "record",
                                         "inspect", "export", "snapshot", "cloud", "play", "help"};
  for (const char* builtIn : kBuiltIn) {
    if (name == builtIn) return true;
  }
  return false;
}

std::string programFolder() {
  const std::string self = currentExecutablePath();
  const size_t slash = self.find_last_of('/');
  return slash == std::string::npos ? std::string() : self.substr(0, slash);
}

std::string findExternalCommand(const std::string& name, const std::string& ownFolder, const char* path) {
  if (!isPlainName(name)) return std::string();
  for (const std::string& folder : searchFolders(ownFolder, path)) {
    const std::string candidate = folder + "/" + kPrefix + name;
    if (isExecutableFile(candidate)) return candidate;
  }
  return std::string();
}

std::vector<std::string> listExternalCommands(const std::string& ownFolder, const char* path) {
  std::vector<std::string> names;
  for (const std::string& folder : searchFolders(ownFolder, path)) {
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) continue;
    // A PATH folder may be huge; a bounded look is enough for a help text.
    int looked = 0;
    while (dirent* entry = readdir(dir)) {
      if (++looked > 100000) break;
      const std::string file = entry->d_name;
      if (file.rfind(kPrefix, 0) != 0) continue;
      const std::string name = file.substr(std::strlen(kPrefix));
      if (isPlainName(name) && !isBuiltInCommand(name) && isExecutableFile(folder + "/" + file)) {
        names.push_back(name);
      }
    }
    closedir(dir);
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

int runExternalCommand(const std::string& name, int argc, char** argv) {
  const std::string program = findExternalCommand(name, programFolder(), std::getenv("PATH"));
  if (program.empty()) {
    std::fprintf(stderr, "sarvik: '%s' is not a sarvik command and no sarvik-%s was found; see sarvik --help\n",
                 name.c_str(), name.c_str());
    return 2;
  }
  std::vector<char*> args;
  std::string argv0 = kPrefix + name;
  args.push_back(&argv0[0]);
  for (int i = 0; i < argc; ++i) args.push_back(argv[i]);
  args.push_back(nullptr);
  std::fflush(stdout);
  execv(program.c_str(), args.data());
  std::fprintf(stderr, "sarvik: cannot run %s: %s\n", program.c_str(), std::strerror(errno));
  return 1;
}

}  // namespace tools
}  // namespace sarvik
