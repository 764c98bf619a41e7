// The viewer's web server: the page, a JSON API over the camera session, and
// the frame stream. One port serves all three; the page, the API and the
// frames are all plain HTTP (see addStreamRoute for why no WebSocket).
#ifndef SARVIK_VIEWER_VIEWER_SERVER_H
#define SARVIK_VIEWER_VIEWER_SERVER_H

#include <httplib.h>

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "camera_session.h"
#include "frame_hub.h"
#include "sarvik/SarvikBaseContext.h"

namespace sarvik_viewer {

struct ViewerOptions {
  std::string host = "127.0.0.1";
  int port = 8080;              // 0: any free port
  std::string outputFolder = ".";  // snapshots and recordings go here
  int maxPages = 4;             // frame streams served at once
  int threads = 12;             // HTTP worker threads: pages plus API requests
};

// Frames a page may still be sent of each kind before it says it has drawn
// one: what bounds the frames in flight, and so the latency, whatever the
// sockets buffer.
struct PageCredits {
  std::array<std::atomic<int>, kHubSlots> credits{};
};

class ViewerServer {
 public:
  ViewerServer(SarvikBaseContext* context, const ViewerOptions& options);
  ~ViewerServer();
  ViewerServer(const ViewerServer&) = delete;
  ViewerServer& operator=(const ViewerServer&) = delete;

  // Binds the listening socket; false with *error when the address is unusable.
  bool bind(std::string* error);
  int port() const { return m_port; }
  // Serves on a thread of its own until stop().
  void serve();
  // Ends every frame stream, stops serving and closes the camera. Idempotent.
  void stop();

  CameraSession& session() { return m_session; }
  FrameHub& hub() { return m_hub; }
  int pages() const { return m_pages.load(); }
  // The page's last timing report, as it sent it ("{}" before any).
  std::string pageReport() const;

 private:
  void addPageRoutes();
  void addDeviceRoutes();
  void addStreamControlRoutes();
  void addFileRoutes();
  void addStreamRoute();
  void addReportRoutes();
  void addAckRoute();
  void addErrorHandlers();

  SarvikBaseContext* m_context;
  ViewerOptions m_options;
  FrameHub m_hub;
  CameraSession m_session;
  httplib::Server m_server;
  std::thread m_thread;
  int m_port = 0;
  std::atomic<int> m_pages{0};
  std::atomic<bool> m_stopped{false};
  mutable std::mutex m_reportLock;
  std::string m_report = "{}";  // guarded by m_reportLock
  std::vector<uint8_t> m_colourBar;  // built once, before serving
  std::mutex m_pagesLock;
  std::map<uint64_t, std::shared_ptr<PageCredits>> m_pageCredits;  // guarded by m_pagesLock
  uint64_t m_nextPage = 1;                                          // guarded by m_pagesLock
};

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_VIEWER_SERVER_H
