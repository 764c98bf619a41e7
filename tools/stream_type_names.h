// Stream types as the user writes them on the command line and as the
// program prints them.
#ifndef SARVIK_TOOLS_STREAM_TYPE_NAMES_H
#define SARVIK_TOOLS_STREAM_TYPE_NAMES_H

#include <cstdint>
#include <string>

namespace sarvik {
namespace tools {

// Accepts "color" (or "colour"), "depth", "ir", "lightir" (or "light-ir",
// "light ir"), case-insensitive, and a plain number for types without a name
// (a record file may hold any type). False for anything else and for 0.
bool parseStreamType(const std::string& text, uint32_t* type);

// "color", "depth", "ir", "lightir", or "type N".
std::string streamTypeName(uint32_t type);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_STREAM_TYPE_NAMES_H
