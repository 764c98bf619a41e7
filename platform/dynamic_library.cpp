#include "platform/dynamic_library.h"

#include <dlfcn.h>

namespace sarvik {

void* loadLibrary(const char* path) {
  // dlopen(nullptr) would hand back the main program; never what is meant.
  if (path == nullptr) return nullptr;
  return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

void* findSymbol(void* library, const char* name) {
  if (library == nullptr || name == nullptr) return nullptr;
  return dlsym(library, name);
}

void freeLibrary(void* library) {
  if (library != nullptr) dlclose(library);
}

}  // namespace sarvik
