// Loading the SDK module into an application, the one way every program of
// the SDK does it: dlopen the module, resolve its two exports, and never link
// module code. Header-only; link with -ldl (the Sarvik::sdk target and
// sarvik.pc do).
//
//   sarvik::ModuleLoader loader;
//   std::string error;
//   if (!loader.load("", &error)) { fprintf(stderr, "%s\n", error.c_str()); return 1; }
//   SarvikBaseContext* context = loader.contextFactory()();
//   ... context->initialize(); ... context->shutdown(); loader.deleteContext()(context);
//
// The module is looked for, in this order: the path given to load(); the
// environment variable SARVIK_MODULE; ../lib/ and ../lib/sarvik/ beside the
// running program (the build tree and an installed tree put it there), and
// SARVIK_MODULE_DIR_FROM_BIN beside it when the program's build defines that
// relative folder; SARVIK_MODULE_DIR, when the build defines it (the CMake
// target Sarvik::sdk does); the folder an installation recorded in
// sarvik/SarvikInstallDirs.h, when that header is on the include path (so a
// plain -I, as from pkg-config, suffices); and last the bare name through the
// dynamic loader's own search (LD_LIBRARY_PATH, ld.so.cache).
#ifndef SARVIK_LOADER_H
#define SARVIK_LOADER_H

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "sarvik/SarvikBaseContext.h"

#if defined(__has_include)
#if __has_include("sarvik/SarvikInstallDirs.h")
#include "sarvik/SarvikInstallDirs.h"
#endif
#endif

#define SARVIK_MODULE_FILE "libSarvikCommonDriver.so"
#define SARVIK_ENV_MODULE "SARVIK_MODULE"

namespace sarvik {

// The running program's own file, from /proc/self/exe; empty if unreadable.
inline std::string currentExecutablePath() {
  char buffer[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) return std::string();
  return std::string(buffer, static_cast<size_t>(length));
}

// The places load() tries, in order, for an explicit `path` (may be empty),
// the value of SARVIK_MODULE (may be null) and the program's file.
inline std::vector<std::string> moduleCandidates(const std::string& path, const char* environment,
                                                 const std::string& executable) {
  if (!path.empty()) return {path};
  if (environment != nullptr && environment[0] != '\0') return {environment};
  std::vector<std::string> candidates;
  const size_t slash = executable.find_last_of('/');
  if (slash != std::string::npos) {
    const std::string folder = executable.substr(0, slash);
    candidates.push_back(folder + "/../lib/" SARVIK_MODULE_FILE);
    candidates.push_back(folder + "/../lib/sarvik/" SARVIK_MODULE_FILE);
#ifdef SARVIK_MODULE_DIR_FROM_BIN
    candidates.push_back(folder + "/" SARVIK_MODULE_DIR_FROM_BIN "/" SARVIK_MODULE_FILE);
#endif
  }
#ifdef SARVIK_MODULE_DIR
  candidates.push_back(SARVIK_MODULE_DIR "/" SARVIK_MODULE_FILE);
#endif
#ifdef SARVIK_INSTALLED_MODULE_DIR
  candidates.push_back(SARVIK_INSTALLED_MODULE_DIR "/" SARVIK_MODULE_FILE);
#endif
  candidates.push_back(SARVIK_MODULE_FILE);
  return candidates;
}

class ModuleLoader {
 public:
  ModuleLoader() = default;
  // The module stays loaded: a thread it failed to end must not run into
  // unmapped code while the process winds down.
  ~ModuleLoader() = default;
  ModuleLoader(const ModuleLoader&) = delete;
  ModuleLoader& operator=(const ModuleLoader&) = delete;

  // Loads the module and resolves both exports; false with *error naming
  // every place tried and why each failed.
  bool load(const std::string& path, std::string* error) {
    std::string reasons;
    for (const std::string& candidate : moduleCandidates(path, std::getenv(SARVIK_ENV_MODULE),
                                                         currentExecutablePath())) {
      // RTLD_LOCAL: the module exports its two functions and nothing else.
      void* handle = dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
      if (handle == nullptr) {
        const char* reason = dlerror();
        reasons += "\n  " + (reason != nullptr ? std::string(reason) : candidate);
        continue;
      }
      auto factory = reinterpret_cast<ContextFactoryFn>(dlsym(handle, "ContextFactory"));
      auto destroy = reinterpret_cast<DeleteContextFn>(dlsym(handle, "deleteContext"));
      if (factory == nullptr || destroy == nullptr) {
        reasons += "\n  " + candidate + ": lacks " + (factory == nullptr ? "ContextFactory" : "deleteContext");
        continue;
      }
      m_handle = handle;
      m_factory = factory;
      m_delete = destroy;
      m_path = candidate;
      return true;
    }
    if (error != nullptr) *error = "cannot load the SDK module " SARVIK_MODULE_FILE ":" + reasons;
    return false;
  }

  bool loaded() const { return m_handle != nullptr; }
  ContextFactoryFn contextFactory() const { return m_factory; }
  DeleteContextFn deleteContext() const { return m_delete; }
  // The file that was loaded, as it was named.
  const std::string& path() const { return m_path; }

 private:
  void* m_handle = nullptr;
  ContextFactoryFn m_factory = nullptr;
  DeleteContextFn m_delete = nullptr;
  std::string m_path;
};

}  // namespace sarvik

#endif  // SARVIK_LOADER_H
