// The contract of the log plug-in, libSarvikLogDriver.so: nine C exports, all
// of which must be present for the module to bind it. The module calls five.
#ifndef SARVIK_LOG_DRIVER_H
#define SARVIK_LOG_DRIVER_H

#include <cstdint>

extern "C" {
typedef int32_t (*SarvikLogWriteFn)(const char* moduleTag, int32_t level, const char* format, ...);
typedef int32_t (*SarvikLogSimplifyFn)(const char* moduleTag, int32_t level, const char* text);
typedef int32_t (*SarvikLogErrnoFn)(const char* moduleTag, int32_t level, int32_t error, const char* text);
typedef int32_t (*SarvikLogConfigFileWriterFn)(bool enable);
typedef int32_t (*SarvikLogConfigConsoleWriterFn)(bool enable);
typedef int32_t (*SarvikLogSetFilePathEntryFn)(const char* path);
typedef int32_t (*SarvikLogSetlogLevelFn)(int32_t level);
typedef int32_t (*SarvikLogSetMaxSizeFn)(uint64_t bytes);
typedef int32_t (*SarvikLogGetGlobalLevelFn)();
}

// Levels as the module uses them.
enum : int32_t {
  SARVIK_LOG_FINEST = 0,
  SARVIK_LOG_TRACE = 1,
  SARVIK_LOG_WARNING = 2,
  SARVIK_LOG_ERROR = 3,
  SARVIK_LOG_MILESTONE = 4,
};

#endif  // SARVIK_LOG_DRIVER_H
