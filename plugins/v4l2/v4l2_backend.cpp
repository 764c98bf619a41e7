#include "v4l2_backend.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/videodev2.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "v4l2_camera.h"
#include "v4l2_formats.h"

namespace v4l2cam {

namespace {

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string nodeName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

// UVC has no descriptor that says "this 16-bit grey is depth"; depth cameras
// that send Y16 name the node or the function after it ("Intel(R) ... Depth",
// "... Depth Camera"). So Y16 is depth when either name holds "depth", and
// infrared otherwise. Z16 is always depth.
bool y16MeansDepth(const std::string& cardName, const std::string& nodeName) {
  return lower(cardName).find("depth") != std::string::npos || lower(nodeName).find("depth") != std::string::npos;
}

V4l2Backend::V4l2Backend(std::shared_ptr<System> sys) : m_sys(std::move(sys)) { rescan(); }

void V4l2Backend::log(const std::string& text) {
  // Called with m_lock held.
  if (m_events != nullptr) m_events->log(text);
  else m_earlyLines.push_back(text);
}

void V4l2Backend::start(sarvikhost::HostEvents* events) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_events = events;
  for (const std::string& line : m_earlyLines) m_events->log(line);
  m_earlyLines.clear();
}

void V4l2Backend::stop() {
  std::lock_guard<std::mutex> lock(m_lock);
  m_events = nullptr;
}

void V4l2Backend::poll() {
  // A readdir every 100 ms is cheap; nodes are opened only when the list changed.
  std::vector<std::string> nodes = m_sys->listNodes();
  {
    std::lock_guard<std::mutex> lock(m_lock);
    if (nodes == m_nodes) return;
  }
  rescan();
}

bool V4l2Backend::probe(const std::string& path, sarvikhost::CameraInfo* info, std::string* why) {
  int fd = m_sys->open(path, O_RDWR | O_NONBLOCK);
  if (fd < 0) {
    if (fd == -EACCES || fd == -EPERM) *why = path + ": no permission to open (join the 'video' group)";
    else if (fd != -ENOENT && fd != -ENODEV) *why = path + ": cannot open: " + std::strerror(-fd);
    return false;
  }
  struct v4l2_capability cap;
  std::memset(&cap, 0, sizeof cap);
  bool ok = m_sys->ioctl(fd, VIDIOC_QUERYCAP, &cap) == 0;
  uint32_t caps = (cap.capabilities & V4L2_CAP_DEVICE_CAPS) ? cap.device_caps : cap.capabilities;
  // Metadata and output nodes of the same camera are common and not errors: no line.
  if (!ok || !(caps & V4L2_CAP_VIDEO_CAPTURE) || !(caps & V4L2_CAP_STREAMING)) {
    m_sys->close(fd);
    return false;
  }
  NodeIdentity id = m_sys->identity(path);
  std::string card(reinterpret_cast<const char*>(cap.card), strnlen(reinterpret_cast<const char*>(cap.card), sizeof cap.card));
  std::vector<NodeMode> modes;
  std::vector<std::string> unmapped;
  enumerateModes(*m_sys, fd, y16MeansDepth(card, id.name), &modes, &unmapped);
  m_sys->close(fd);
  if (modes.empty()) {
    std::string list;
    for (const std::string& f : unmapped) list += (list.empty() ? "" : ", ") + f;
    *why = path + ": no format the SDK can use" + (list.empty() ? std::string() : " (" + list + ")");
    return false;
  }
  info->uri = "usb://v4l2/" + nodeName(path);
  info->nodePath = path;
  info->name = !id.name.empty() ? id.name : card;
  info->serial = !id.serial.empty() ? id.serial : nodeName(path);
  info->location = !id.location.empty() ? id.location : std::string(reinterpret_cast<const char*>(cap.bus_info), strnlen(reinterpret_cast<const char*>(cap.bus_info), sizeof cap.bus_info));
  info->vendorId = id.vendorId;
  info->productId = id.productId;
  info->index = static_cast<uint32_t>(std::atoi(nodeName(path).c_str() + 5));
  return true;
}

void V4l2Backend::rescan() {
  std::vector<std::string> nodes = m_sys->listNodes();
  std::map<std::string, Known> found;
  std::vector<std::string> lines;
  for (const std::string& path : nodes) {
    Known k;
    std::string why;
    {
      std::lock_guard<std::mutex> lock(m_lock);
      auto it = m_known.find(path);
      if (it != m_known.end()) {
        found[path] = it->second;
        continue;
      }
    }
    k.capture = probe(path, &k.info, &why);
    if (!why.empty()) lines.push_back(why);
    found[path] = k;
  }
  std::lock_guard<std::mutex> lock(m_lock);
  for (const std::string& line : lines) log(line);
  if (m_events != nullptr) {
    for (const auto& [path, k] : m_known) {
      if (k.capture && !found.count(path)) m_events->post(k.info.uri, k.info.serial, k.info.location, 1);
    }
    for (const auto& [path, k] : found) {
      if (k.capture && !m_known.count(path)) m_events->post(k.info.uri, k.info.serial, k.info.location, 0);
    }
  }
  m_known = std::move(found);
  m_nodes = std::move(nodes);
}

void V4l2Backend::list(std::vector<sarvikhost::CameraInfo>* out) {
  std::lock_guard<std::mutex> lock(m_lock);
  for (const auto& entry : m_known) {
    if (entry.second.capture) out->push_back(entry.second.info);
  }
}

int32_t V4l2Backend::open(const std::string& address, std::unique_ptr<sarvikhost::Camera>* out,
                          sarvikhost::CameraInfo* info) {
  std::string path;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    for (const auto& entry : m_known) {
      if (entry.second.capture && (entry.second.info.uri == address || entry.first == address)) {
        path = entry.first;
        *info = entry.second.info;
      }
    }
  }
  if (path.empty()) return kSarvikErrNotFound;
  int fd = m_sys->open(path, O_RDWR | O_NONBLOCK);
  if (fd < 0) {
    std::lock_guard<std::mutex> lock(m_lock);
    log(path + ": cannot open: " + std::strerror(-fd));
    return fd == -EBUSY ? kSarvikErrBusy : (fd == -ENOENT || fd == -ENODEV) ? kSarvikErrDisconnected : kSarvikErrIo;
  }
  NodeIdentity id = m_sys->identity(path);
  struct v4l2_capability cap;
  std::memset(&cap, 0, sizeof cap);
  m_sys->ioctl(fd, VIDIOC_QUERYCAP, &cap);
  std::string card(reinterpret_cast<const char*>(cap.card), strnlen(reinterpret_cast<const char*>(cap.card), sizeof cap.card));
  std::vector<NodeMode> modes;
  std::vector<std::string> unmapped;
  enumerateModes(*m_sys, fd, y16MeansDepth(card, id.name), &modes, &unmapped);
  if (modes.empty()) {
    m_sys->close(fd);
    return kSarvikErrDisconnected;
  }
  std::vector<Control> controls = V4l2Camera::queryControls(*m_sys, fd);
  auto logFn = [this](const std::string& text) {
    std::lock_guard<std::mutex> lock(m_lock);
    log(text);
  };
  // An unplug seen by a stream is posted at once; the node is forgotten so
  // that the next poll looks at it afresh (and posts it again if it is back).
  auto onGone = [this, path] {
    std::lock_guard<std::mutex> lock(m_lock);
    auto it = m_known.find(path);
    if (it == m_known.end() || !it->second.capture) return;
    if (m_events != nullptr) m_events->post(it->second.info.uri, it->second.info.serial, it->second.info.location, 1);
    m_known.erase(it);
    m_nodes.clear();
  };
  out->reset(new V4l2Camera(m_sys, fd, path, std::move(modes), std::move(controls), logFn, onGone));
  return 0;
}

}  // namespace v4l2cam
