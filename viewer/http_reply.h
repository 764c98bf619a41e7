// How every API route answers: JSON bodies, errors as {"error": "..."} with
// the HTTP status of the ApiResult.
#ifndef SARVIK_VIEWER_HTTP_REPLY_H
#define SARVIK_VIEWER_HTTP_REPLY_H

#include <httplib.h>

#include <nlohmann/json.hpp>

#include "api_result.h"

namespace sarvik_viewer {

void replyJson(httplib::Response& res, const nlohmann::json& body);
void replyError(httplib::Response& res, const ApiResult& result);
// Replies with the result: its error, or `body` when it went well.
void replyResult(httplib::Response& res, const ApiResult& result,
                 const nlohmann::json& body = nlohmann::json::object());
// Parses the request's body as a JSON object (an empty body is {}); on
// failure replies 400 and gives false.
bool parseBody(const httplib::Request& req, httplib::Response& res, nlohmann::json* body);
// The sensor a request names in field "sensor" (or query parameter); on
// failure replies 400 and gives 0.
uint32_t requestSensor(const httplib::Request& req, const nlohmann::json& body, httplib::Response& res);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_HTTP_REPLY_H
