// Finds and loads the SDK module at run time. The program never links module
// code: like any application it gets everything through ContextFactory.
#ifndef SARVIK_TOOLS_MODULE_LIBRARY_H
#define SARVIK_TOOLS_MODULE_LIBRARY_H

#include <string>

#include "sarvik/SarvikBaseContext.h"

namespace sarvik {
namespace tools {

// The file to load: `option` (--module) if given, else `environment`
// (SARVIK_MODULE) if set and not empty, else ../lib/libSarvikCommonDriver.so
// relative to the folder of `executable`, which is where the build puts it.
std::string chooseModulePath(const std::string& option, const char* environment, const std::string& executable);

// This program's own file, from /proc/self/exe; empty if it cannot be read.
std::string executablePath();

class ModuleLibrary {
 public:
  ModuleLibrary() = default;
  // The module is not unloaded: a thread it failed to end must not run into
  // unmapped code while the process winds down.
  ~ModuleLibrary() = default;
  ModuleLibrary(const ModuleLibrary&) = delete;
  ModuleLibrary& operator=(const ModuleLibrary&) = delete;

  // dlopen and resolve both exports; false with *error naming what failed.
  bool load(const std::string& path, std::string* error);

  ContextFactoryFn contextFactory() const { return m_factory; }
  DeleteContextFn deleteContext() const { return m_delete; }

 private:
  void* m_handle = nullptr;
  ContextFactoryFn m_factory = nullptr;
  DeleteContextFn m_delete = nullptr;
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_MODULE_LIBRARY_H
