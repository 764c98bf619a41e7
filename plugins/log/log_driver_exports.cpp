// The nine C exports of the log plug-in, each a thin call into one LogSink.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "log_sink.h"
#include "sarvik/SarvikLogDriver.h"

#define SARVIK_LOG_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Lives from load to unload. The module unbinds before it is unloaded and
// logs nothing from static destructors, so no record arrives after this goes.
sarvik_log::LogSink g_sink;

sarvik_log::LogSink& sink() { return g_sink; }

// strerror_r comes in two shapes; both land here.
[[maybe_unused]] const char* errorText(int result, const char* buffer) { return result == 0 ? buffer : "unknown error"; }
[[maybe_unused]] const char* errorText(const char* result, const char*) { return result; }

}  // namespace

SARVIK_LOG_EXPORT int32_t sarvikLogWrite(const char* moduleTag, int32_t level, const char* format, ...) {
  if (format == nullptr) return -1;
  char text[2048];
  va_list args;
  va_start(args, format);
  int n = vsnprintf(text, sizeof(text), format, args);
  va_end(args);
  if (n < 0) text[0] = '\0';
  return sink().write(moduleTag, level, text);
}

SARVIK_LOG_EXPORT int32_t sarvikLogSimplify(const char* moduleTag, int32_t level, const char* text) {
  return sink().write(moduleTag, level, text);
}

SARVIK_LOG_EXPORT int32_t sarvikLogErrno(const char* moduleTag, int32_t level, int32_t error,
                                         const char* text) {
  char reason[256];
  reason[0] = '\0';
  const char* because = errorText(strerror_r(error, reason, sizeof(reason)), reason);
  // Not std::to_string: its digit table is a unique symbol, and one such
  // symbol pins the plug-in in memory after the module has unbound it.
  char line[2048 + 300];
  snprintf(line, sizeof(line), "%s (errno %d: %s)", text != nullptr ? text : "", static_cast<int>(error), because);
  return sink().write(moduleTag, level, line);
}

SARVIK_LOG_EXPORT int32_t sarvikLogConfigFileWriter(bool enable) {
  sink().setFileOutput(enable);
  return 0;
}

SARVIK_LOG_EXPORT int32_t sarvikLogConfigConsoleWriter(bool enable) {
  sink().setConsoleOutput(enable);
  return 0;
}

SARVIK_LOG_EXPORT int32_t sarvikLogSetFilePathEntry(const char* path) { return sink().setFilePath(path); }

SARVIK_LOG_EXPORT int32_t sarvikLogSetlogLevel(int32_t level) { return sink().setLevel(level); }

SARVIK_LOG_EXPORT int32_t sarvikLogSetMaxSize(uint64_t bytes) {
  sink().setMaxSize(bytes);
  return 0;
}

SARVIK_LOG_EXPORT int32_t sarvikLogGetGlobalLevel() { return sink().level(); }

// The exports must keep the shapes the module resolves them as.
static_assert(std::is_same<decltype(&sarvikLogWrite), SarvikLogWriteFn>::value, "sarvikLogWrite");
static_assert(std::is_same<decltype(&sarvikLogSimplify), SarvikLogSimplifyFn>::value, "sarvikLogSimplify");
static_assert(std::is_same<decltype(&sarvikLogErrno), SarvikLogErrnoFn>::value, "sarvikLogErrno");
static_assert(std::is_same<decltype(&sarvikLogConfigFileWriter), SarvikLogConfigFileWriterFn>::value,
              "sarvikLogConfigFileWriter");
static_assert(std::is_same<decltype(&sarvikLogConfigConsoleWriter), SarvikLogConfigConsoleWriterFn>::value,
              "sarvikLogConfigConsoleWriter");
static_assert(std::is_same<decltype(&sarvikLogSetFilePathEntry), SarvikLogSetFilePathEntryFn>::value,
              "sarvikLogSetFilePathEntry");
static_assert(std::is_same<decltype(&sarvikLogSetlogLevel), SarvikLogSetlogLevelFn>::value,
              "sarvikLogSetlogLevel");
static_assert(std::is_same<decltype(&sarvikLogSetMaxSize), SarvikLogSetMaxSizeFn>::value, "sarvikLogSetMaxSize");
static_assert(std::is_same<decltype(&sarvikLogGetGlobalLevel), SarvikLogGetGlobalLevelFn>::value,
              "sarvikLogGetGlobalLevel");
