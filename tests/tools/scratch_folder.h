// A fresh folder under /tmp for one test of the tools, removed with all it holds.
#ifndef SARVIK_TESTS_TOOLS_SCRATCH_FOLDER_H
#define SARVIK_TESTS_TOOLS_SCRATCH_FOLDER_H

#include <ftw.h>
#include <stdlib.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace sarvik {
namespace tools {

class ScratchFolder {
 public:
  ScratchFolder() {
    char pattern[] = "/tmp/sarvik-tools-XXXXXX";
    const char* made = mkdtemp(pattern);
    m_path = made != nullptr ? made : "";
  }
  ~ScratchFolder() {
    if (!m_path.empty()) nftw(m_path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  static int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
    std::remove(path);
    return 0;
  }
  std::string m_path;
};

inline std::string readWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TESTS_TOOLS_SCRATCH_FOLDER_H
