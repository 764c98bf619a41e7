// The frame stream: GET /api/stream?kinds=color,depth,cloud answers with one
// endless chunked response of frame messages (frame_message.h), read by the
// page through fetch() and a stream reader.
//
// Why not a WebSocket: frames only ever go one way, and a chunked response on
// the same TCP connection reaches the page exactly as fast (every message is
// written to the socket as it is published, Nagle off), while keeping one
// port, one server and one set of threads. Back-pressure is the same either
// way and handled here: a page that reads slowly blocks only its own worker,
// and the hub hands it the newest frame when it is ready again, never a
// backlog.
#include <cstring>

#include "frame_message.h"
#include "http_reply.h"
#include "viewer_server.h"

namespace sarvik_viewer {
namespace {

// With nothing to send for this long a page gets a keep-alive message, which
// is how a closed browser is noticed when its streams are stopped.
constexpr int kKeepAliveMs = 500;

bool parseKinds(const std::string& text, unsigned* wanted) {
  static const struct {
    const char* name;
    int slot;
  } kNames[] = {{"color", 0}, {"depth", 1}, {"ir", 2}, {"lightir", 3}, {"cloud", 4}};
  *wanted = 0;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(',', start);
    if (end == std::string::npos) end = text.size();
    const std::string name = text.substr(start, end - start);
    bool known = false;
    for (const auto& entry : kNames) {
      if (name == entry.name) {
        *wanted |= 1u << entry.slot;
        known = true;
      }
    }
    if (!known) return false;
    start = end + 1;
  }
  return *wanted != 0;
}

}  // namespace

void ViewerServer::addStreamRoute() {
  m_server.Get("/api/stream", [this](const httplib::Request& req, httplib::Response& res) {
    unsigned wanted = (1u << kHubSlots) - 1;
    if (req.has_param("kinds") && !parseKinds(req.get_param_value("kinds"), &wanted)) {
      replyError(res, ApiResult::fail(400, "\"kinds\" lists color, depth, ir, lightir, cloud, separated by commas"));
      return;
    }
    if (m_pages.fetch_add(1) >= m_options.maxPages) {
      m_pages.fetch_sub(1);
      replyError(res, ApiResult::fail(503, "too many pages are watching; close one and reload"));
      return;
    }
    const bool cloud = (wanted & (1u << hubSlot(kKindCloud))) != 0;
    if (cloud) m_hub.addCloudWatcher(1);
    auto seen = std::make_shared<FrameHub::Versions>();
    auto batch = std::make_shared<std::vector<MessageRef>>();
    res.set_header("Cache-Control", "no-store");
    res.set_chunked_content_provider(
        "application/octet-stream",
        [this, wanted, seen, batch](size_t, httplib::DataSink& sink) {
          batch->clear();
          if (!m_hub.waitNewer(wanted, seen.get(), batch.get(), kKeepAliveMs)) return false;
          if (batch->empty()) {
            const FrameMessageHeader keepAlive = makeHeader(kKindKeepAlive, 0);
            return sink.write(reinterpret_cast<const char*>(&keepAlive), sizeof keepAlive);
          }
          for (const MessageRef& message : *batch) {
            // The page gone: the write fails and the worker ends.
            if (!sink.write(reinterpret_cast<const char*>(message.bytes().data()), message.bytes().size())) {
              return false;
            }
          }
          batch->clear();  // the messages go back to their pools before the next wait
          return true;
        },
        [this, cloud](bool) {
          if (cloud) m_hub.addCloudWatcher(-1);
          m_pages.fetch_sub(1);
        });
  });
}

}  // namespace sarvik_viewer
