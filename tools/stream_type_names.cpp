#include "tools/stream_type_names.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "sarvik/SarvikTypes.h"

namespace sarvik {
namespace tools {

namespace {

std::string lowerCase(const std::string& text) {
  std::string out = text;
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

bool parseNumber(const std::string& text, uint32_t* value) {
  if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) return false;
  errno = 0;
  char* end = nullptr;
  unsigned long long v = std::strtoull(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || v == 0 || v > 0xFFFFFFFFull) return false;
  *value = static_cast<uint32_t>(v);
  return true;
}

}  // namespace

bool parseStreamType(const std::string& text, uint32_t* type) {
  const std::string name = lowerCase(text);
  if (name == "color" || name == "colour") {
    *type = SARVIK_STREAM_COLOR;
  } else if (name == "depth") {
    *type = SARVIK_STREAM_DEPTH;
  } else if (name == "ir") {
    *type = SARVIK_STREAM_IR;
  } else if (name == "lightir" || name == "light-ir" || name == "light ir") {
    *type = SARVIK_STREAM_LIGHT_IR;
  } else {
    return parseNumber(name, type);
  }
  return true;
}

std::string streamTypeName(uint32_t type) {
  switch (type) {
    case SARVIK_STREAM_COLOR: return "color";
    case SARVIK_STREAM_DEPTH: return "depth";
    case SARVIK_STREAM_IR: return "ir";
    case SARVIK_STREAM_LIGHT_IR: return "lightir";
    default: return "type " + std::to_string(type);
  }
}

}  // namespace tools
}  // namespace sarvik
