// Path questions the record-path rules ask of the platform.
#ifndef SARVIK_PLATFORM_PATH_UTILS_H
#define SARVIK_PLATFORM_PATH_UTILS_H

#include <cstdint>
#include <string>

namespace sarvik {

// Makes `path` absolute without looking at the disk: a relative path is
// joined to the current directory, empty, "." and ".." components are folded
// ("/.." stays "/"), and a trailing '/' is kept. Symbolic links are not
// resolved, so "link/.." may name another directory than the kernel would.
// Only '/' separates; a backslash is an ordinary character here.
//
// Returns the length without the terminator when it fits in `outSize`
// (terminator included); else the size needed, terminator included, with
// `out` untouched; 0 for a null or empty path or when the current directory
// cannot be read. `out` may be null when `outSize` is 0.
uint32_t fullPathName(const char* path, char* out, uint32_t outSize);

// True if `path` names an existing directory (symbolic links followed).
bool isDirectory(const char* path);

// True if anything exists at `path`: file, directory or other.
bool pathExists(const char* path);

// Creates one directory with mode 0777 less the umask; its parent must exist.
// False if it could not be made, also when it exists already; errno tells why.
bool makeDirectory(const char* path);

// Creates every missing directory along `path`, shallowest first; a '/' is
// implied at the end. A component that exists already, as a directory or as
// any other file, is passed over: a file in the way only shows when something
// is later made below it. Only the first 255 characters are used. False when
// a directory could not be made, after "mkdir error" and errno's text went to
// stderr; the directories made before stay.
bool makeDirectories(const char* path);

// Splits a path as the record-path rules read it: every '\' becomes '/',
// then `folder` is all up to and including the last '/' and `name` the rest;
// a path without any is folder "./" and name `path`.
void splitFolderAndName(const std::string& path, std::string* folder, std::string* name);

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_PATH_UTILS_H
