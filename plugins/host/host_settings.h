// Where a plug-in's settings files lie, and the plain "key = value" format
// the host's own file uses. A settings file NAME is looked for in two places,
// read in this order so that the user's copy wins key by key:
//   1. beside the plug-in (the install's copy: <libdir>/sarvik/NAME),
//   2. $XDG_CONFIG_HOME/sarvik/NAME, or ~/.config/sarvik/NAME without it.
#ifndef SARVIK_HOST_SETTINGS_H
#define SARVIK_HOST_SETTINGS_H

#include <string>
#include <utility>
#include <vector>

namespace sarvikhost {

// The folder of the library this function is linked into, with a trailing '/'.
std::string pluginFolder();
// The user's settings folder with a trailing '/', or empty when neither
// XDG_CONFIG_HOME nor HOME is set.
std::string userSettingsFolder();
// The existing copies of a settings file, beside the plug-in first.
std::vector<std::string> settingsFiles(const std::string& name);

// "key = value" lines; '#' starts a comment; keys may repeat (all kept, in
// order). Lines without '=' are kept as errors for the caller to report.
class KeyValueFile {
 public:
  void parse(const std::string& text, const std::string& origin);
  bool load(const std::string& path);  // false: unreadable (a missing file is not loaded at all)

  // The last value of a key, or `fallback`.
  std::string get(const std::string& key, const std::string& fallback = "") const;
  std::vector<std::string> all(const std::string& key) const;
  const std::vector<std::string>& errors() const { return m_errors; }

 private:
  std::vector<std::pair<std::string, std::string>> m_entries;
  std::vector<std::string> m_errors;
};

// Every copy of `name`, in the order above, into one KeyValueFile.
KeyValueFile loadSettings(const std::string& name);

}  // namespace sarvikhost

#endif  // SARVIK_HOST_SETTINGS_H
