// How the platform layer reports. It is the bottom layer and may not call the
// log bridge or the last-error cells (logging/ is built on top of it), yet a
// worker thread has lines to log from its own thread. So an object that
// reports is handed a reporter by whoever creates it; the module's one is
// moduleReporter() in logging/module_reporter.h. A null reporter drops
// every report.
#ifndef SARVIK_PLATFORM_PLATFORM_REPORT_H
#define SARVIK_PLATFORM_PLATFORM_REPORT_H

#include <cstdarg>
#include <cstdint>

namespace sarvik {

// Last-error codes of failures that the platform layer itself detects. They
// belong to the module's one list of codes, which logging/error_codes.h
// completes.
constexpr uint32_t kErrThreadNotCreated = 0x80300410;
constexpr uint32_t kErrThreadPriority = 0x80300411;

// Both calls may run on any thread, a worker's own included, and must not
// block for long.
class PlatformReporter {
 public:
  // Stores `code` in the calling thread's last-error cell.
  virtual void setLastError(uint32_t code) = 0;
  // One log record of `level`, formatted as by vprintf.
  virtual void logV(uint32_t level, const char* format, va_list args) = 0;

 protected:
  // Not deleted through this interface: a reporter outlives every object
  // that reports to it, so the module's is a static that is never destroyed.
  ~PlatformReporter() = default;
};

// The printf-style way to log through a reporter that may be null.
inline void __attribute__((format(printf, 3, 4)))
reportLog(PlatformReporter* reporter, uint32_t level, const char* format, ...) {
  if (reporter == nullptr) return;
  va_list args;
  va_start(args, format);
  reporter->logV(level, format, args);
  va_end(args);
}

// Sets the last error, then logs: the order in which the module's own
// failures are reported.
inline void __attribute__((format(printf, 4, 5)))
reportFailure(PlatformReporter* reporter, uint32_t code, uint32_t level, const char* format, ...) {
  if (reporter == nullptr) return;
  reporter->setLastError(code);
  va_list args;
  va_start(args, format);
  reporter->logV(level, format, args);
  va_end(args);
}

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_PLATFORM_REPORT_H
