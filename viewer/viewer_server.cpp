#include "viewer_server.h"

#include <nlohmann/json.hpp>

#include "colour_bar.h"
#include "http_reply.h"
#include "page_assets.h"

namespace sarvik_viewer {

ViewerServer::ViewerServer(SarvikBaseContext* context, const ViewerOptions& options)
    : m_context(context), m_options(options), m_session(context, &m_hub), m_colourBar(moduleColourBar(context)) {
  const int threads = options.threads;
  m_server.new_task_queue = [threads] { return new httplib::ThreadPool(static_cast<size_t>(threads)); };
  // API bodies are a few hundred bytes; the page's report a few kilobytes.
  m_server.set_payload_max_length(64 * 1024);
  m_server.set_read_timeout(5, 0);
  m_server.set_write_timeout(5, 0);
  m_server.set_keep_alive_max_count(1000);
  m_server.set_tcp_nodelay(true);
  addPageRoutes();
  addDeviceRoutes();
  addStreamControlRoutes();
  addFileRoutes();
  addStreamRoute();
  addAckRoute();
  addReportRoutes();
  addErrorHandlers();
}

ViewerServer::~ViewerServer() { stop(); }

bool ViewerServer::bind(std::string* error) {
  if (m_options.port == 0) {
    m_port = m_server.bind_to_any_port(m_options.host);
    if (m_port > 0) return true;
  } else if (m_server.bind_to_port(m_options.host, m_options.port)) {
    m_port = m_options.port;
    return true;
  }
  *error = "cannot listen on " + m_options.host + ":" + std::to_string(m_options.port) +
           " (address in use, or not an address of this machine)";
  return false;
}

void ViewerServer::serve() {
  m_thread = std::thread([this] { m_server.listen_after_bind(); });
}

void ViewerServer::stop() {
  if (m_stopped.exchange(true)) return;
  // Frame streams wait on the hub; closing it lets their workers finish, which
  // the server's stop waits for.
  m_hub.close();
  m_server.stop();
  if (m_thread.joinable()) m_thread.join();
  m_session.close();
}

std::string ViewerServer::pageReport() const {
  std::lock_guard<std::mutex> guard(m_reportLock);
  return m_report;
}

void ViewerServer::addPageRoutes() {
  auto serveAsset = [](const std::string& path, httplib::Response& res) {
    const PageAsset* asset = findPageAsset(path);
    if (asset == nullptr) {
      replyError(res, ApiResult::fail(404, "no such page: " + path));
      return;
    }
    res.set_content(reinterpret_cast<const char*>(asset->data), asset->size, asset->type);
    res.set_header("Cache-Control", "no-cache");
  };
  m_server.Get("/", [serveAsset](const httplib::Request&, httplib::Response& res) { serveAsset("/index.html", res); });
  m_server.Get(R"(/([a-z0-9_-]+\.(html|css|js)))", [serveAsset](const httplib::Request& req, httplib::Response& res) {
    serveAsset("/" + req.matches[1].str(), res);
  });
  m_server.Get("/api/colourbar", [this](const httplib::Request&, httplib::Response& res) {
    res.set_content(reinterpret_cast<const char*>(m_colourBar.data()), m_colourBar.size(), "application/octet-stream");
  });
}

void ViewerServer::addReportRoutes() {
  m_server.Post("/api/report", [this](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    if (!parseBody(req, res, &body)) return;
    {
      std::lock_guard<std::mutex> guard(m_reportLock);
      m_report = body.dump();
    }
    replyJson(res, nlohmann::json::object());
  });
  m_server.Get("/api/report", [this](const httplib::Request&, httplib::Response& res) {
    res.set_content(pageReport(), "application/json");
  });
}

void ViewerServer::addErrorHandlers() {
  m_server.set_error_handler([](const httplib::Request& req, httplib::Response& res) {
    // Our own replies carry their JSON already; this fills in the rest
    // (no such route, a request the parser refused, a body too large).
    if (!res.body.empty()) return;
    std::string text = "request refused";
    if (res.status == 404) text = "no such page or API: " + req.path;
    if (res.status == 413) text = "request body too large";
    if (res.status == 400) text = "malformed request";
    nlohmann::json body = {{"error", text}};
    res.set_content(body.dump(), "application/json");
  });
  m_server.set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr failure) {
    std::string text = "internal error";
    try {
      if (failure) std::rethrow_exception(failure);
    } catch (const std::exception& e) {
      text += std::string(": ") + e.what();
    } catch (...) {
    }
    replyError(res, ApiResult::fail(500, text));
  });
}

}  // namespace sarvik_viewer
