// Operations that talk to the log plug-in and the last-error store directly.
// None of them needs an initialised context.
#include "context/context.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "logging/log_settings.h"

namespace sarvik {

int32_t Context::initLog(const char* path) { return applyLogSetup(path); }

int32_t Context::setLogLevel(uint32_t level) {
  if (level > 4) {
    logMessage(3, "Log level set error : %d\n", level);
    return -1;
  }
  return logDriverSetLevel(static_cast<int32_t>(level));
}

int32_t Context::setLogFilePath(const char* path) { return logDriverSetFilePath(path); }

void Context::setLastError(uint32_t code) { setLastErrorCode(code); }

int32_t Context::reservedVariadic(int32_t, int32_t, ...) { return 0; }

}  // namespace sarvik
