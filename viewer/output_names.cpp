#include "output_names.h"

#include <climits>
#include <cstdlib>
#include <ctime>

namespace sarvik_viewer {

std::string timeStampedName() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[64];
  std::strftime(text, sizeof text, "sarvik-%Y%m%d-%H%M%S", &local);
  return text;
}

bool isSafeFileName(const std::string& name) {
  if (name.empty() || name.size() > 100 || name[0] == '.') return false;
  for (char c : name) {
    const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                    c == '_' || c == '-';
    if (!ok) return false;
  }
  return true;
}

std::string absoluteFolder(const std::string& folder) {
  char resolved[PATH_MAX];
  if (realpath(folder.c_str(), resolved) == nullptr) return folder;
  return resolved;
}

}  // namespace sarvik_viewer
