#include "platform/local_time.h"

namespace sarvik {

std::tm currentLocalTime() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);  // the reentrant form: localtime's buffer is shared
  return local;
}

}  // namespace sarvik
