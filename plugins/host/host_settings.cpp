#include "host_settings.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace sarvikhost {

namespace {

std::string trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

bool isFile(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

std::string pluginFolder() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&pluginFolder), &info) == 0 || info.dli_fname == nullptr) return "./";
  char resolved[PATH_MAX];
  std::string file = realpath(info.dli_fname, resolved) != nullptr ? resolved : info.dli_fname;
  size_t slash = file.rfind('/');
  return slash == std::string::npos ? "./" : file.substr(0, slash + 1);
}

std::string userSettingsFolder() {
  const char* xdg = getenv("XDG_CONFIG_HOME");
  // The XDG rules say a relative value is to be ignored.
  if (xdg != nullptr && xdg[0] == '/') return std::string(xdg) + "/sarvik/";
  const char* home = getenv("HOME");
  if (home != nullptr && home[0] == '/') return std::string(home) + "/.config/sarvik/";
  return "";
}

std::vector<std::string> settingsFiles(const std::string& name) {
  std::vector<std::string> found;
  std::string beside = pluginFolder() + name;
  if (isFile(beside)) found.push_back(beside);
  std::string user = userSettingsFolder();
  if (!user.empty() && isFile(user + name) && user + name != beside) found.push_back(user + name);
  return found;
}

void KeyValueFile::parse(const std::string& text, const std::string& origin) {
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.resize(hash);
    line = trim(line);
    if (line.empty()) continue;
    size_t eq = line.find('=');
    if (eq == std::string::npos || trim(line.substr(0, eq)).empty()) {
      m_errors.push_back(origin + ":" + std::to_string(number) + ": not a \"key = value\" line");
      continue;
    }
    m_entries.emplace_back(trim(line.substr(0, eq)), trim(line.substr(eq + 1)));
  }
}

bool KeyValueFile::load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    m_errors.push_back(path + ": cannot be read");
    return false;
  }
  std::stringstream text;
  text << in.rdbuf();
  parse(text.str(), path);
  return true;
}

std::string KeyValueFile::get(const std::string& key, const std::string& fallback) const {
  for (auto it = m_entries.rbegin(); it != m_entries.rend(); ++it) {
    if (it->first == key) return it->second;
  }
  return fallback;
}

std::vector<std::string> KeyValueFile::all(const std::string& key) const {
  std::vector<std::string> values;
  for (const auto& entry : m_entries) {
    if (entry.first == key) values.push_back(entry.second);
  }
  return values;
}

KeyValueFile loadSettings(const std::string& name) {
  KeyValueFile file;
  for (const std::string& path : settingsFiles(name)) file.load(path);
  return file;
}

}  // namespace sarvikhost
