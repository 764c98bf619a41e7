#include "platform/path_utils.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace sarvik {

namespace {

std::string currentDirectory() {
  std::vector<char> buffer(PATH_MAX);
  for (;;) {
    if (getcwd(buffer.data(), buffer.size()) != nullptr) return std::string(buffer.data());
    // A working directory deeper than PATH_MAX is legal; grow and ask again.
    if (errno != ERANGE || buffer.size() > (1u << 20)) return std::string();
    buffer.resize(buffer.size() * 2);
  }
}

// Folds an absolute path lexically. The result always starts with '/'.
std::string foldAbsolute(const std::string& path) {
  std::vector<std::string> parts;
  size_t begin = 0;
  while (begin <= path.size()) {
    size_t end = path.find('/', begin);
    if (end == std::string::npos) end = path.size();
    const std::string part = path.substr(begin, end - begin);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    begin = end + 1;
  }
  std::string folded;
  for (const std::string& part : parts) folded += "/" + part;
  if (folded.empty()) return "/";
  if (path.back() == '/') folded += '/';
  return folded;
}

}  // namespace

uint32_t fullPathName(const char* path, char* out, uint32_t outSize) {
  if (path == nullptr || path[0] == '\0') return 0;
  std::string absolute;
  if (path[0] == '/') {
    absolute = path;
  } else {
    const std::string cwd = currentDirectory();
    if (cwd.empty()) return 0;
    absolute = cwd + "/" + path;
  }
  const std::string folded = foldAbsolute(absolute);
  const size_t needed = folded.size() + 1;
  if (needed > UINT32_MAX) return 0;
  if (out == nullptr || needed > outSize) return static_cast<uint32_t>(needed);
  std::memcpy(out, folded.c_str(), needed);
  return static_cast<uint32_t>(folded.size());
}

bool isDirectory(const char* path) {
  struct stat info;
  return path != nullptr && stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

bool pathExists(const char* path) { return path != nullptr && access(path, F_OK) == 0; }

bool makeDirectory(const char* path) { return path != nullptr && mkdir(path, 0777) == 0; }

bool makeDirectories(const char* path) {
  if (path == nullptr) return false;
  char buffer[257] = {0};
  std::snprintf(buffer, 256, "%s", path);
  size_t length = std::strlen(buffer);
  if (length == 0 || buffer[length - 1] != '/') buffer[length++] = '/';
  // A slash at index 0 is the root, never a directory to make.
  for (size_t i = 1; i < length; ++i) {
    if (buffer[i] != '/') continue;
    buffer[i] = '\0';
    if (!pathExists(buffer) && !makeDirectory(buffer)) {
      std::perror("mkdir error");
      return false;
    }
    buffer[i] = '/';
  }
  return true;
}

void splitFolderAndName(const std::string& path, std::string* folder, std::string* name) {
  std::string text = path;
  for (char& c : text) {
    if (c == '\\') c = '/';
  }
  const size_t lastSlash = text.rfind('/');
  if (lastSlash == std::string::npos) {
    *folder = "./";
    *name = text;
    return;
  }
  *folder = text.substr(0, lastSlash + 1);
  *name = text.substr(lastSlash + 1);
}

}  // namespace sarvik
