// Names of the files the viewer writes. A page may be on another machine,
// so it names a file at most, never a folder: everything lands in the
// output folder given on the command line.
#ifndef SARVIK_VIEWER_OUTPUT_NAMES_H
#define SARVIK_VIEWER_OUTPUT_NAMES_H

#include <string>

namespace sarvik_viewer {

// "sarvik-20260101-120000" from the local time.
std::string timeStampedName();
// True for a plain file name: 1 to 100 characters of letters, digits, '.',
// '_' and '-', not starting with '.'.
bool isSafeFileName(const std::string& name);
// The folder as an absolute path with no trailing slash; unchanged if it
// cannot be resolved (the write then fails with the folder's name).
std::string absoluteFolder(const std::string& folder);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_OUTPUT_NAMES_H
