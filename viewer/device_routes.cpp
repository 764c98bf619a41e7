// Routes for the camera itself: the device list, choosing a camera, its
// modes and its properties.
#include "api_json.h"
#include "device_list_cache.h"
#include "http_reply.h"
#include "sensor_names.h"
#include "viewer_server.h"

namespace sarvik_viewer {

void ViewerServer::addDeviceRoutes() {
  m_server.Get("/api/devices", [this](const httplib::Request&, httplib::Response& res) {
    nlohmann::json list = nlohmann::json::array();
    for (const typedefSarvikDeviceInfo& info : DeviceListCache::instance().devices()) list.push_back(deviceJson(info));
    const typedefSarvikDeviceInfo open = m_session.deviceInfo();
    replyJson(res, {{"devices", list}, {"current", recordText(open.uri, sizeof open.uri)}});
  });

  m_server.Get("/api/device", [this](const httplib::Request&, httplib::Response& res) {
    if (!m_session.isOpen()) {
      replyJson(res, {{"open", false}});
      return;
    }
    nlohmann::json sensors = nlohmann::json::array();
    std::vector<StreamState> running = m_session.streams();
    for (uint32_t type : m_session.sensors()) {
      bool on = false;
      for (const StreamState& state : running) on = on || state.type == type;
      sensors.push_back({{"name", sensorName(type)}, {"running", on}});
    }
    nlohmann::json body = deviceJson(m_session.deviceInfo());
    body["open"] = true;
    body["connected"] = m_session.connected();
    body["sensors"] = sensors;
    replyJson(res, body);
  });

  m_server.Post("/api/device", [this](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    if (!parseBody(req, res, &body)) return;
    if (!body.contains("address") || !body["address"].is_string()) {
      replyError(res, ApiResult::fail(400, "name the camera in \"address\": address, serial or index"));
      return;
    }
    replyResult(res, m_session.open(body["address"].get<std::string>()));
  });

  m_server.Get("/api/modes", [this](const httplib::Request& req, httplib::Response& res) {
    const uint32_t sensor = requestSensor(req, nlohmann::json::object(), res);
    if (sensor == 0) return;
    ModeList list;
    const ApiResult result = m_session.modes(sensor, &list);
    nlohmann::json modes = nlohmann::json::array();
    for (size_t i = 0; i < list.modes.size(); ++i) modes.push_back(modeJson(list.modes[i], i));
    replyResult(res, result, {{"sensor", sensorName(sensor)}, {"current", list.current}, {"modes", modes}});
  });

  m_server.Post("/api/mode", [this](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    if (!parseBody(req, res, &body)) return;
    const uint32_t sensor = requestSensor(req, body, res);
    if (sensor == 0) return;
    if (!body.contains("index") || !body["index"].is_number_unsigned()) {
      replyError(res, ApiResult::fail(400, "give the mode's \"index\" from /api/modes"));
      return;
    }
    const uint64_t index = body["index"].get<uint64_t>();
    replyResult(res, m_session.setMode(sensor, index > 0xffffffffu ? 0xffffffffu : static_cast<uint32_t>(index)));
  });

  m_server.Get("/api/properties", [this](const httplib::Request&, httplib::Response& res) {
    std::vector<PropertyValue> values;
    const ApiResult result = m_session.properties(&values);
    nlohmann::json list = nlohmann::json::array();
    for (const PropertyValue& value : values) list.push_back(propertyJson(value));
    nlohmann::json body = {{"properties", list}};
    nlohmann::json intrinsics = nlohmann::json::object();
    for (uint32_t type : m_session.sensors()) {
      SarvikIntrinsics k;
      if (!m_session.intrinsics(type, &k)) continue;
      intrinsics[sensorName(type)] = {{"width", k.width}, {"height", k.height}, {"fx", k.fx},
                                      {"fy", k.fy},       {"cx", k.cx},         {"cy", k.cy}};
    }
    body["intrinsics"] = intrinsics;
    SarvikDepthUnit unit;
    if (m_session.depthUnit(&unit)) body["depthUnit"] = {{"encoding", unit.encoding}, {"metresPerUnit", unit.metresPerUnit}};
    replyResult(res, result, body);
  });

  m_server.Post("/api/property", [this](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    if (!parseBody(req, res, &body)) return;
    if (!body.contains("id") || !body["id"].is_number_unsigned() || body["id"].get<uint64_t>() > 0xffffffffu ||
        !body.contains("value") || !body["value"].is_number_integer() ||
        body["value"].get<int64_t>() != static_cast<int32_t>(body["value"].get<int64_t>())) {
      replyError(res, ApiResult::fail(400, "give the property's \"id\" and a 32-bit integer \"value\""));
      return;
    }
    replyResult(res, m_session.setProperty(body["id"].get<uint32_t>(), body["value"].get<int32_t>()));
  });
}

}  // namespace sarvik_viewer
