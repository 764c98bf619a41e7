// The persistent log settings, sarvikLog.ini in the module's folder, and the
// set-up of the log plug-in from them.
//
// The file has one section, [Log], and three integer keys, each with its
// default: LogConsole=1 (console output on when above 0), LogLevel=3 (0..4;
// anything else applies as 3) and LogFile=0 (file output on when above 0).
// Absent keys are added with their defaults; values that stand in the file
// are never rewritten, even when out of range.
//
// Threading: none of this is locked. The settings path and the file are
// shared, so the set-up must not run on two threads at once.
#ifndef SARVIK_LOGGING_LOG_SETTINGS_H
#define SARVIK_LOGGING_LOG_SETTINGS_H

#include <cstdint>

namespace sarvik {

constexpr uint32_t kLogSettingsPathSize = 256;

// The process-wide path of the settings file, kLogSettingsPathSize bytes,
// empty until the first set-up fills it.
char* logSettingsPath();

// Reads `key` of section [Log] as a decimal integer (atoi rules: text without
// digits gives 0). On a result other than 0, `*out` keeps what the caller
// put there. 0 found; -1 no file, section or key; -4 `out` is null.
int32_t readLogSetting(const char* key, int32_t* out);

// Writes `value` under `key` of section [Log]; the result of CINIImpl::setValue.
int32_t writeLogSetting(const char* key, int32_t value);

// Configures the log plug-in: hands `path` on to it when `path` is not null,
// then applies the settings file beside the module, creating or completing
// it. Returns the plug-in's answer to the path, else 0; no trouble with the
// settings file shows in the result, nor in the log.
int32_t applyLogSetup(const char* path);

// applyLogSetup() with the settings file in `folder` (with its trailing '/',
// or empty for the working directory) instead of the module's folder.
int32_t applyLogSetupIn(const char* folder, const char* path);

}  // namespace sarvik

#endif  // SARVIK_LOGGING_LOG_SETTINGS_H
