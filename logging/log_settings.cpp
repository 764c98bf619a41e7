#include "logging/log_settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "logging/ini_store.h"
#include "logging/log_bridge.h"
#include "platform/module_path.h"

namespace sarvik {
namespace {

constexpr char kSettingsFile[] = "sarvikLog.ini";
constexpr char kSection[] = "Log";
constexpr uint32_t kValueBufferSize = 256;
// The longest folder that leaves room for the file name and its terminator.
constexpr size_t kMaxSettingsFolder = kLogSettingsPathSize - sizeof(kSettingsFile);

constexpr int32_t kDefaultConsole = 1;
constexpr int32_t kDefaultLevel = 3;
constexpr int32_t kDefaultFile = 0;
constexpr uint32_t kHighestLevel = 4;

char g_logSettingsPath[kLogSettingsPathSize];

// The value of `key`, added to the file with `fallback` when it is absent.
int32_t settingOrDefault(const char* key, int32_t fallback) {
  int32_t value = fallback;
  if (readLogSetting(key, &value) != 0) {
    // An unwritable folder is no error here: the default applies regardless.
    writeLogSetting(key, fallback);
    value = fallback;
  }
  return value;
}

}  // namespace

char* logSettingsPath() { return g_logSettingsPath; }

int32_t readLogSetting(const char* key, int32_t* out) {
  if (out == nullptr) return -4;
  CINIImpl ini(g_logSettingsPath, kSection, key);
  char value[kValueBufferSize];
  std::memset(value, 0, sizeof(value));
  int32_t result = ini.getValue(value);
  if (result == 0) *out = std::atoi(value);
  return result;
}

int32_t writeLogSetting(const char* key, int32_t value) {
  CINIImpl ini(g_logSettingsPath, kSection, key);
  char text[kValueBufferSize];
  std::memset(text, 0, sizeof(text));
  std::snprintf(text, sizeof(text), "%d", value);
  return ini.setValue(text);
}

int32_t applyLogSetupIn(const char* folder, const char* path) {
  int32_t result = 0;
  // A refused path doesn't stop the settings: the client sees the refusal
  // in the result and still gets its console, file and level.
  if (path != nullptr) result = logDriverSetFilePath(path);

  int32_t console = kDefaultConsole;
  int32_t level = kDefaultLevel;
  int32_t file = kDefaultFile;
  // A folder too long for the 256-byte path would have the file name cut
  // off. Such a folder is treated like one that can't be written: the file
  // is neither read nor written and the defaults go to the plug-in, so the
  // plug-in gets the same three calls on every set-up.
  if (std::strlen(folder) <= kMaxSettingsFolder) {
    std::snprintf(g_logSettingsPath, sizeof(g_logSettingsPath), "%s%s", folder, kSettingsFile);
    console = settingOrDefault("LogConsole", kDefaultConsole);
    level = settingOrDefault("LogLevel", kDefaultLevel);
    file = settingOrDefault("LogFile", kDefaultFile);
  }

  logDriverConfigFileWriter(file > 0);
  logDriverConfigConsoleWriter(console > 0);
  // Read as unsigned, so that negative values count as out of range too.
  uint32_t applied = static_cast<uint32_t>(level);
  if (applied > kHighestLevel) applied = kDefaultLevel;
  logDriverSetLevel(static_cast<int32_t>(applied));
  return result;
}

int32_t applyLogSetup(const char* path) {
  char folder[kLogSettingsPathSize];
  std::memset(folder, 0, sizeof(folder));
  // On failure the folder stays empty and the settings file is looked for in
  // the working directory.
  getCurrentModulePath(folder);
  return applyLogSetupIn(folder, path);
}

}  // namespace sarvik
