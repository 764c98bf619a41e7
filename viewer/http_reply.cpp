#include "http_reply.h"

#include "sarvik/SarvikStatus.h"
#include "sensor_names.h"

namespace sarvik_viewer {

void replyJson(httplib::Response& res, const nlohmann::json& body) {
  res.status = 200;
  // Replace: a camera's text may hold bytes that are not UTF-8.
  res.set_content(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), "application/json");
}

void replyError(httplib::Response& res, const ApiResult& result) {
  nlohmann::json body = {{"error", result.error}};
  if (result.status != 0) {
    body["status"] = result.status;
    const char* name = sarvikStatusName(result.status);
    if (name != nullptr) body["statusName"] = name;
  }
  res.status = result.http;
  res.set_content(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), "application/json");
}

void replyResult(httplib::Response& res, const ApiResult& result, const nlohmann::json& body) {
  if (result.ok()) {
    replyJson(res, body);
  } else {
    replyError(res, result);
  }
}

bool parseBody(const httplib::Request& req, httplib::Response& res, nlohmann::json* body) {
  if (req.body.empty()) {
    *body = nlohmann::json::object();
    return true;
  }
  *body = nlohmann::json::parse(req.body, nullptr, false);
  if (body->is_discarded() || !body->is_object()) {
    replyError(res, ApiResult::fail(400, "the request body is not a JSON object"));
    return false;
  }
  return true;
}

uint32_t requestSensor(const httplib::Request& req, const nlohmann::json& body, httplib::Response& res) {
  std::string name;
  if (body.contains("sensor") && body["sensor"].is_string()) {
    name = body["sensor"].get<std::string>();
  } else if (req.has_param("sensor")) {
    name = req.get_param_value("sensor");
  }
  const uint32_t type = sensorType(name);
  if (type == 0) {
    replyError(res, ApiResult::fail(400, name.empty() ? std::string("name a sensor: color, depth, ir or lightir")
                                                      : "unknown sensor \"" + name.substr(0, 40) +
                                                            "\": color, depth, ir or lightir"));
  }
  return type;
}

}  // namespace sarvik_viewer
