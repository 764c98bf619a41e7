#include "platform/module_path.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

#include "platform/path_utils.h"

namespace sarvik {

namespace {

// The main program's loader entry has no name; its file comes from the kernel.
std::string programFile() {
  char buffer[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof(buffer));
  if (length <= 0 || static_cast<size_t>(length) >= sizeof(buffer)) return std::string();
  return std::string(buffer, static_cast<size_t>(length));
}

}  // namespace

int32_t getCurrentModulePath(char* out) {
  Dl_info info;
  struct link_map* map = nullptr;
  // Hidden visibility binds this address inside whichever object holds the
  // code, never to a same-named function elsewhere in the process.
  if (dladdr1(reinterpret_cast<void*>(&getCurrentModulePath), &info, reinterpret_cast<void**>(&map),
              RTLD_DL_LINKMAP) == 0) {
    return -1;
  }
  // l_name is the path the loader was given, possibly relative to the
  // directory current at load time; a later chdir() would mislead the
  // lexical join below, which is accepted as the price of not resolving
  // symbolic links.
  const std::string file = (map != nullptr && map->l_name != nullptr && map->l_name[0] != '\0')
                               ? std::string(map->l_name)
                               : programFile();
  if (file.empty()) return -1;
  return moduleFolderOf(file.c_str(), out);
}

int32_t moduleFolderOf(const char* file, char* out) {
  if (file == nullptr || out == nullptr) return -1;
  char full[PATH_MAX];
  const uint32_t length = fullPathName(file, full, sizeof(full));
  if (length == 0 || length >= sizeof(full)) return -1;
  const char* lastSlash = std::strrchr(full, '/');
  // fullPathName always gives a path that starts with '/'.
  const size_t folderLength = static_cast<size_t>(lastSlash - full) + 1;
  if (folderLength > kModulePathBytes - 1) return -1;
  std::memcpy(out, full, folderLength);
  out[folderLength] = '\0';
  return 0;
}

}  // namespace sarvik
