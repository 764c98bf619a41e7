// Where the module's own file lies: plug-ins and the settings file are looked
// for beside it.
#ifndef SARVIK_PLATFORM_MODULE_PATH_H
#define SARVIK_PLATFORM_MODULE_PATH_H

#include <cstdint>

namespace sarvik {

constexpr uint32_t kModulePathBytes = 256;

// Writes the absolute folder of the file that holds this code, with its
// trailing '/', into `out`, which has kModulePathBytes bytes. In a shared
// object that is the folder the object was loaded from, as the loader was
// given it (a symbolic link is not followed, so a module linked into another
// folder finds the files of that folder); in a program linked with the code
// it is the program's folder. Returns 0, or -1 with `out` unchanged when the
// folder cannot be found or needs more than 255 characters.
int32_t getCurrentModulePath(char* out);

// The step after finding the file: `file` made absolute (lexically, against
// the current directory), cut after its last '/', copied to `out` under the
// same length rule and results as above.
int32_t moduleFolderOf(const char* file, char* out);

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_MODULE_PATH_H
