#include "tools/module_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>

namespace sarvik {
namespace tools {

std::string chooseModulePath(const std::string& option, const char* environment, const std::string& executable) {
  if (!option.empty()) return option;
  if (environment != nullptr && environment[0] != '\0') return environment;
  const size_t slash = executable.find_last_of('/');
  const std::string folder = slash == std::string::npos ? std::string(".") : executable.substr(0, slash);
  return folder + "/../lib/libSarvikCommonDriver.so";
}

std::string executablePath() {
  char buffer[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) return std::string();
  return std::string(buffer, static_cast<size_t>(length));
}

bool ModuleLibrary::load(const std::string& path, std::string* error) {
  // RTLD_LOCAL: the module exports its two functions and nothing else to us.
  m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (m_handle == nullptr) {
    const char* reason = dlerror();
    *error = "cannot load the module: " + std::string(reason != nullptr ? reason : path.c_str());
    return false;
  }
  m_factory = reinterpret_cast<ContextFactoryFn>(dlsym(m_handle, "ContextFactory"));
  m_delete = reinterpret_cast<DeleteContextFn>(dlsym(m_handle, "deleteContext"));
  if (m_factory == nullptr || m_delete == nullptr) {
    *error = path + " lacks " + (m_factory == nullptr ? "ContextFactory" : "deleteContext");
    return false;
  }
  return true;
}

}  // namespace tools
}  // namespace sarvik
