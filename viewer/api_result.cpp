#include "api_result.h"

#include "sarvik/SarvikStatus.h"

namespace sarvik_viewer {

ApiResult ApiResult::module(const std::string& what, int32_t status) {
  const char* name = sarvikStatusName(status);
  std::string text = what + " failed: status " + std::to_string(status);
  if (name != nullptr) text += std::string(" (") + name + ")";
  // The camera being gone or busy is not the request's fault.
  const bool request = status == kStatusBadArgument || status == kSarvikErrArgument || status == kSarvikErrNotFound;
  return fail(request ? 400 : 502, text, status);
}

}  // namespace sarvik_viewer
