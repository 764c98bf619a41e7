// V4L2 capture nodes as cameras of the USB plug-in: every /dev/videoN that
// captures a format the SDK maps is one camera, at "usb://v4l2/videoN".
#ifndef SARVIK_V4L2_BACKEND_H
#define SARVIK_V4L2_BACKEND_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "../host/host_backend.h"
#include "v4l2_system.h"

namespace v4l2cam {

class V4l2Backend final : public sarvikhost::Backend {
 public:
  explicit V4l2Backend(std::shared_ptr<System> sys = realSystem());

  const char* name() const override { return "v4l2"; }
  sarvikhost::BackendKind kind() const override { return sarvikhost::BackendKind::Real; }
  void start(sarvikhost::HostEvents* events) override;
  void poll() override;
  void stop() override;
  void list(std::vector<sarvikhost::CameraInfo>* out) override;
  int32_t open(const std::string& address, std::unique_ptr<sarvikhost::Camera>* out,
               sarvikhost::CameraInfo* info) override;

  // Looks at the nodes again; cameras that came or went are posted. Called
  // from poll() when the node list changed, and once at construction.
  void rescan();

 private:
  struct Known {
    sarvikhost::CameraInfo info;
    bool capture = false;  // false: a node that is not a camera (metadata, output)
  };
  // Opens a node and reads what it is; false: not a capture node we can map.
  bool probe(const std::string& path, sarvikhost::CameraInfo* info, std::string* why);
  void log(const std::string& text);

  const std::shared_ptr<System> m_sys;
  std::mutex m_lock;  // guards what follows
  sarvikhost::HostEvents* m_events = nullptr;
  std::vector<std::string> m_nodes;         // the node list of the last scan
  std::map<std::string, Known> m_known;     // by node path
  std::vector<std::string> m_earlyLines;    // logged before start
};

// Y16 carries depth when the node or camera name says "depth" (see .cpp).
bool y16MeansDepth(const std::string& cardName, const std::string& nodeName);

}  // namespace v4l2cam

#endif  // SARVIK_V4L2_BACKEND_H
