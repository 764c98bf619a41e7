// A fresh folder under /tmp for one test, removed with all it holds.
#ifndef SARVIK_TESTS_LOGGING_TEMP_FOLDER_H
#define SARVIK_TESTS_LOGGING_TEMP_FOLDER_H

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace sarvik_test {

class TempFolder {
 public:
  TempFolder() {
    char pattern[] = "/tmp/sarvik-logging-XXXXXX";
    const char* made = mkdtemp(pattern);
    m_path = made ? std::string(made) + "/" : std::string();
  }
  ~TempFolder() {
    if (!m_path.empty()) nftw(m_path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // With its trailing '/'.
  const std::string& path() const { return m_path; }
  std::string file(const std::string& name) const { return m_path + name; }

 private:
  static int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
    ::remove(path);
    return 0;
  }
  std::string m_path;
};

inline void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
}

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

inline bool fileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_LOGGING_TEMP_FOLDER_H
