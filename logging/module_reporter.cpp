#include "logging/module_reporter.h"

#include <type_traits>

#include "logging/last_error.h"
#include "logging/log_bridge.h"

namespace sarvik {
namespace {

class ModuleReporter final : public PlatformReporter {
 public:
  void setLastError(uint32_t code) override { setLastErrorCode(code); }
  void logV(uint32_t level, const char* format, va_list args) override { logMessageV(level, format, args); }
};

static_assert(std::is_trivially_destructible<ModuleReporter>::value, "no destructor may run at exit");

}  // namespace

PlatformReporter* moduleReporter() {
  // Constant-initialised and trivially destroyed: a worker thread that logs
  // while the process exits still finds it.
  static ModuleReporter reporter;
  return &reporter;
}

}  // namespace sarvik
