// The frame stream: GET /api/stream?kinds=color,depth,cloud answers with one
// endless chunked response of frame messages (frame_message.h), read by the
// page through fetch() and a stream reader.
//
// Why not a WebSocket: frames only ever go one way, and a chunked response on
// the same TCP connection reaches the page exactly as fast (every message is
// written to the socket as it is published, Nagle off), while keeping one
// port, one server and one set of threads. Back-pressure is the same either
// way and handled here. Sockets and the browser buffer megabytes, which at
// a slow page would be seconds of old frames; so a page gets at most
// kCreditsPerKind frames of a kind ahead of its acknowledgements (POST
// /api/ack after drawing), and when it can take more the hub hands it the
// newest frame, never a backlog. A hidden tab draws nothing and so is sent
// nothing.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>

#include "frame_message.h"
#include "http_reply.h"
#include "viewer_server.h"

namespace sarvik_viewer {
namespace {

// With nothing to send for this long a page gets a keep-alive message, which
// is how a closed browser is noticed when its streams are stopped.
constexpr int kKeepAliveMs = 500;
constexpr int kCreditsPerKind = 2;

using Clock = std::chrono::steady_clock;

// What one page's worker keeps between calls of its content provider.
struct PageStream {
  bool limited = false;  // the page acknowledges what it draws (?ack=1)
  std::shared_ptr<PageCredits> credits;
  FrameHub::Versions seen{};
  uint64_t pokes = 0;
  std::vector<MessageRef> batch;
  Clock::time_point lastWrite = Clock::now();
};

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
    auto page = std::make_shared<PageStream>();
    // Clients that cannot acknowledge (a script, curl) get every frame the
    // hub has and rely on newest-wins and the socket alone.
    page->limited = req.get_param_value("ack") == "1";
    page->credits = std::make_shared<PageCredits>();
    for (auto& credit : page->credits->credits) credit = kCreditsPerKind;
    uint64_t id;
    {
      std::lock_guard<std::mutex> guard(m_pagesLock);
      id = m_nextPage++;
      m_pageCredits[id] = page->credits;
    }
    res.set_header("Cache-Control", "no-store");
    res.set_header("X-Sarvik-Stream", std::to_string(id));
    res.set_chunked_content_provider(
        "application/octet-stream",
        [this, wanted, page](size_t, httplib::DataSink& sink) {
          unsigned ready = 0;
          for (int slot = 0; slot < kHubSlots; ++slot) {
            if ((wanted & (1u << slot)) != 0 && (!page->limited || page->credits->credits[slot].load() > 0)) {
              ready |= 1u << slot;
            }
          }
          const int idleMs = static_cast<int>(
              std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - page->lastWrite).count());
          page->batch.clear();
          if (!m_hub.waitNewer(ready, &page->seen, &page->batch, std::max(1, kKeepAliveMs - idleMs), &page->pokes)) {
            return false;
          }
          if (page->batch.empty()) {
            // Woken by an acknowledgement, or quiet for a while.
            if (Clock::now() - page->lastWrite < std::chrono::milliseconds(kKeepAliveMs)) return true;
            page->lastWrite = Clock::now();
            const FrameMessageHeader keepAlive = makeHeader(kKindKeepAlive, 0);
            return sink.write(reinterpret_cast<const char*>(&keepAlive), sizeof keepAlive);
          }
          for (const MessageRef& message : page->batch) {
            FrameMessageHeader header;
            std::memcpy(&header, message.bytes().data(), sizeof header);
            page->credits->credits[hubSlot(header.kind)].fetch_sub(1);
            // The page gone: the write fails and the worker ends.
            if (!sink.write(reinterpret_cast<const char*>(message.bytes().data()), message.bytes().size())) {
              return false;
            }
          }
          page->lastWrite = Clock::now();
          page->batch.clear();  // the messages go back to their pools before the next wait
          return true;
        },
        [this, cloud, id](bool) {
          {
            std::lock_guard<std::mutex> guard(m_pagesLock);
            m_pageCredits.erase(id);
          }
          if (cloud) m_hub.addCloudWatcher(-1);
          m_pages.fetch_sub(1);
        });
  });
}

void ViewerServer::addAckRoute() {
  // {"stream": id, "acks": {"color": 1, "cloud": 2}}: frames the page has
  // drawn (or dropped unseen) since its last acknowledgement.
  m_server.Post("/api/ack", [this](const httplib::Request& req, httplib::Response& res) {
    nlohmann::json body;
    if (!parseBody(req, res, &body)) return;
    if (!body.contains("stream") || !body["stream"].is_number_unsigned() || !body.contains("acks") ||
        !body["acks"].is_object()) {
      replyError(res, ApiResult::fail(400, "give \"stream\" (the X-Sarvik-Stream header) and \"acks\" by kind"));
      return;
    }
    std::shared_ptr<PageCredits> credits;
    {
      std::lock_guard<std::mutex> guard(m_pagesLock);
      auto found = m_pageCredits.find(body["stream"].get<uint64_t>());
      if (found != m_pageCredits.end()) credits = found->second;
    }
    if (!credits) {
      replyError(res, ApiResult::fail(404, "no such frame stream"));
      return;
    }
    unsigned kinds = 0;
    for (auto& entry : body["acks"].items()) {
      if (!parseKinds(entry.key(), &kinds) || !entry.value().is_number_unsigned()) {
        replyError(res, ApiResult::fail(400, "acks are counts by kind: color, depth, ir, lightir, cloud"));
        return;
      }
    }
    for (auto& entry : body["acks"].items()) {
      unsigned kind = 0;
      parseKinds(entry.key(), &kind);
      const int slot = __builtin_ctz(kind);
      const uint64_t count = std::min<uint64_t>(entry.value().get<uint64_t>(), kCreditsPerKind);
      // Never above the limit, however many acknowledgements a page sends.
      int now = credits->credits[slot].load();
      while (!credits->credits[slot].compare_exchange_weak(
          now, std::min<int>(kCreditsPerKind, now + static_cast<int>(count)))) {
      }
    }
    m_hub.poke();
    replyJson(res, nlohmann::json::object());
  });
}

}  // namespace sarvik_viewer
