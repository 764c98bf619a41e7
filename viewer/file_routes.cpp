// Routes that write files: snapshots and recordings.
#include <sys/stat.h>

#include "http_reply.h"
#include "output_names.h"
#include "sensor_names.h"
#include "snapshot_writer.h"
#include "viewer_server.h"

namespace sarvik_viewer {
namespace {

// The module takes record paths of at most 255 characters.
constexpr size_t kMaxRecordPath = 255;

bool requestedName(const nlohmann::json& body, const char* extension, std::string* name, httplib::Response& res) {
  if (!body.contains("name")) {
    *name = timeStampedName();
    return true;
  }
  if (!body["name"].is_string() || !isSafeFileName(body["name"].get<std::string>())) {
    replyError(res, ApiResult::fail(400, "\"name\" must be a plain file name: letters, digits, '.', '_', '-'"));
    return false;
  }
  *name = body["name"].get<std::string>();
  const std::string ext = extension;
  if (name->size() > ext.size() && name->compare(name->size() - ext.size(), ext.size(), ext) == 0) {
    name->resize(name->size() - ext.size());
  }
  return true;
}

bool requestedSensors(const nlohmann::json& body, std::vector<uint32_t>* sensors, httplib::Response& res) {
  if (!body.contains("sensors")) return true;
  if (!body["sensors"].is_array() || body["sensors"].size() > 4) {
    replyError(res, ApiResult::fail(400, "\"sensors\" must list up to four of color, depth, ir, lightir"));
    return false;
  }
  for (const nlohmann::json& entry : body["sensors"]) {
    const uint32_t type = entry.is_string() ? sensorType(entry.get<std::string>()) : 0;
    if (type == 0) {
      replyError(res, ApiResult::fail(400, "\"sensors\" must list up to four of color, depth, ir, lightir"));
      return false;
    }
    sensors->push_back(type);
  }
  return true;
}

}  // namespace

void ViewerServer::addFileRoutes() {
  const std::string folder = absoluteFolder(m_options.outputFolder);

  m_server.Post("/api/snapshot", [this, folder](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    std::string name;
    if (!parseBody(req, res, &body) || !requestedName(body, ".png", &name, res)) return;
    std::vector<std::string> written;
    const ApiResult result = writeSnapshot(&m_hub, folder, name, &written);
    replyResult(res, result, {{"files", written}});
  });

  m_server.Post("/api/record/start", [this, folder](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    std::string name;
    std::vector<uint32_t> sensors;
    if (!parseBody(req, res, &body) || !requestedName(body, ".rec", &name, res) ||
        !requestedSensors(body, &sensors, res)) {
      return;
    }
    const std::string path = folder + "/" + name + ".rec";
    if (path.size() > kMaxRecordPath) {
      replyError(res, ApiResult::fail(400, "the record path is longer than 255 characters: " + path));
      return;
    }
    replyResult(res, m_session.startRecording(sensors, path), {{"path", path}});
  });

  m_server.Post("/api/record/stop", [this](const httplib::Request&, httplib::Response& res) {
    std::string path;
    const ApiResult result = m_session.stopRecording(&path);
    struct stat info{};
    const long long bytes = result.ok() && stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : 0;
    replyResult(res, result, {{"path", path}, {"bytes", bytes}});
  });
}

}  // namespace sarvik_viewer
