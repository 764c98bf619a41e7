// Routes that start and stop streams and report how they run.
#include "api_json.h"
#include "http_reply.h"
#include "monotonic_micros.h"
#include "viewer_server.h"

namespace sarvik_viewer {

void ViewerServer::addStreamControlRoutes() {
  m_server.Post("/api/start", [this](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    if (!parseBody(req, res, &body)) return;
    const uint32_t sensor = requestSensor(req, body, res);
    if (sensor != 0) replyResult(res, m_session.start(sensor));
  });
  m_server.Post("/api/stop", [this](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    if (!parseBody(req, res, &body)) return;
    const uint32_t sensor = requestSensor(req, body, res);
    if (sensor != 0) replyResult(res, m_session.stop(sensor));
  });
  m_server.Get("/api/status", [this](const httplib::Request&, httplib::Response& res) {
    nlohmann::json streams = nlohmann::json::array();
    for (const StreamState& state : m_session.streams()) streams.push_back(streamJson(state));
    std::string path;
    const bool recording = m_session.recording(&path);
    nlohmann::json body = {{"streams", streams}, {"pages", m_pages.load()}, {"now", monotonicMicros()}};
    body["recording"] = recording ? nlohmann::json{{"active", true}, {"path", path}} : nlohmann::json{{"active", false}};
    replyJson(res, body);
  });
  // The page measures its clock against this one to turn frame stamps into
  // latencies; a bare number keeps the round trip short.
  m_server.Get("/api/clock", [](const httplib::Request&, httplib::Response& res) {
    res.set_content(std::to_string(monotonicMicros()), "text/plain");
  });
}

}  // namespace sarvik_viewer
