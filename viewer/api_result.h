// The outcome of one viewer operation as the HTTP API reports it.
#ifndef SARVIK_VIEWER_API_RESULT_H
#define SARVIK_VIEWER_API_RESULT_H

#include <cstdint>
#include <string>

namespace sarvik_viewer {

struct ApiResult {
  int http = 200;        // 200 done; 4xx the request was wrong; 5xx the camera or module failed
  std::string error;     // one line for the user when http is not 200
  int32_t status = 0;    // the module's status where it gave one

  bool ok() const { return http == 200; }
  static ApiResult fail(int http, std::string error, int32_t status = 0) { return {http, std::move(error), status}; }
  // A failed module call: its status and the name of that status.
  static ApiResult module(const std::string& what, int32_t status);
};

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_API_RESULT_H
