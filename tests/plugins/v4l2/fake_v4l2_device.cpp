#include "fake_v4l2_device.h"

#include <errno.h>
#include <linux/videodev2.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace v4l2test {

namespace {
constexpr uint32_t kPage = 4096;
// Offsets the fake hands out for mmap: buffer i of a node lies at i * kStride.
constexpr uint32_t kStride = 1u << 24;

size_t imageBytes(uint32_t fourcc, uint32_t w, uint32_t h) {
  size_t pixels = static_cast<size_t>(w) * h;
  if (fourcc == V4L2_PIX_FMT_RGB24) return pixels * 3;
  if (fourcc == V4L2_PIX_FMT_GREY) return pixels;
  return pixels * 2;
}
}  // namespace

void FakeSystem::add(const std::string& path, FakeScript script) {
  std::lock_guard<std::mutex> lock(m_lock);
  Node& n = m_nodes[path];
  n = Node();
  for (const FakeControl& c : script.controls) n.values[c.id] = c.defaultValue;
  n.script = std::move(script);
}
void FakeSystem::remove(const std::string& path) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_nodes[path].listed = false;
  m_nodes[path].gone = true;
}
void FakeSystem::unplug(const std::string& path) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_nodes[path].gone = true;
}
void FakeSystem::setBusy(const std::string& path, bool busy) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_nodes[path].busy = busy;
}
void FakeSystem::setShortEvery(const std::string& path, uint32_t n) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_nodes[path].shortEvery = n;
}
void FakeSystem::setOpenError(const std::string& path, int error) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_nodes[path].openError = error;
}
void FakeSystem::setPayload(const std::string& path, std::vector<uint8_t> bytes) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_nodes[path].payload = std::move(bytes);
}
void FakeSystem::setFill(const std::string& path, bool fill) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_nodes[path].fill = fill;
}
uint32_t FakeSystem::delivered(const std::string& path) {
  std::lock_guard<std::mutex> lock(m_lock);
  return m_nodes[path].delivered;
}

FakeSystem::Node* FakeSystem::nodeOf(int fd) {
  auto it = m_fds.find(fd);
  if (it == m_fds.end()) return nullptr;
  return &m_nodes[it->second];
}

int FakeSystem::open(const std::string& path, int /*flags*/) {
  std::lock_guard<std::mutex> lock(m_lock);
  auto it = m_nodes.find(path);
  if (it == m_nodes.end() || !it->second.listed) return -ENOENT;
  if (it->second.gone) return -ENODEV;
  if (it->second.openError != 0) return -it->second.openError;
  m_fds[m_nextFd] = path;
  ++m_openFds;
  return m_nextFd++;
}

int FakeSystem::close(int fd) {
  std::lock_guard<std::mutex> lock(m_lock);
  if (m_fds.erase(fd) == 0) return -EBADF;
  --m_openFds;
  return 0;
}

int FakeSystem::controlIoctl(Node& n, unsigned long request, void* arg) {
  if (request == VIDIOC_QUERYCTRL) {
    auto* q = static_cast<struct v4l2_queryctrl*>(arg);
    const FakeControl* found = nullptr;
    if (q->id & V4L2_CTRL_FLAG_NEXT_CTRL) {
      uint32_t after = q->id & ~V4L2_CTRL_FLAG_NEXT_CTRL;
      for (const FakeControl& c : n.script.controls) {
        if (c.id > after && (found == nullptr || c.id < found->id)) found = &c;
      }
    } else {
      for (const FakeControl& c : n.script.controls) {
        if (c.id == q->id) found = &c;
      }
    }
    if (found == nullptr) return -EINVAL;
    std::memset(q, 0, sizeof *q);
    q->id = found->id;
    q->type = found->type;
    std::strncpy(reinterpret_cast<char*>(q->name), found->name, sizeof q->name - 1);
    q->minimum = found->minimum;
    q->maximum = found->maximum;
    q->step = found->step;
    q->default_value = found->defaultValue;
    q->flags = found->flags;
    return 0;
  }
  auto* c = static_cast<struct v4l2_control*>(arg);
  const FakeControl* found = nullptr;
  for (const FakeControl& k : n.script.controls) {
    if (k.id == c->id) found = &k;
  }
  if (found == nullptr || found->type == V4L2_CTRL_TYPE_CTRL_CLASS) return -EINVAL;
  if (request == VIDIOC_G_CTRL) {
    c->value = n.values[c->id];
    return 0;
  }
  if (found->flags & V4L2_CTRL_FLAG_READ_ONLY) return -EACCES;
  if (c->value < found->minimum || c->value > found->maximum) return -ERANGE;
  n.values[c->id] = c->value;
  return 0;
}

int FakeSystem::ioctl(int fd, unsigned long request, void* arg) {
  std::lock_guard<std::mutex> lock(m_lock);
  Node* node = nodeOf(fd);
  if (node == nullptr) return -EBADF;
  Node& n = *node;
  if (n.gone) return -ENODEV;
  switch (request) {
    case VIDIOC_QUERYCAP: {
      auto* cap = static_cast<struct v4l2_capability*>(arg);
      std::memset(cap, 0, sizeof *cap);
      std::strncpy(reinterpret_cast<char*>(cap->driver), "uvcvideo", sizeof cap->driver - 1);
      std::strncpy(reinterpret_cast<char*>(cap->card), n.script.card.c_str(), sizeof cap->card - 1);
      std::strncpy(reinterpret_cast<char*>(cap->bus_info), "usb-0000:00:14.0-2", sizeof cap->bus_info - 1);
      cap->device_caps = n.script.deviceCaps;
      cap->capabilities = n.script.deviceCaps | V4L2_CAP_DEVICE_CAPS;
      return 0;
    }
    case VIDIOC_ENUM_FMT: {
      auto* d = static_cast<struct v4l2_fmtdesc*>(arg);
      if (d->type != V4L2_BUF_TYPE_VIDEO_CAPTURE || d->index >= n.script.formats.size()) return -EINVAL;
      d->pixelformat = n.script.formats[d->index].fourcc;
      return 0;
    }
    case VIDIOC_ENUM_FRAMESIZES: {
      auto* s = static_cast<struct v4l2_frmsizeenum*>(arg);
      for (const FakeFormat& f : n.script.formats) {
        if (f.fourcc != s->pixel_format) continue;
        if (s->index >= f.sizes.size()) return -EINVAL;
        s->type = V4L2_FRMSIZE_TYPE_DISCRETE;
        s->discrete.width = f.sizes[s->index].width;
        s->discrete.height = f.sizes[s->index].height;
        return 0;
      }
      return -EINVAL;
    }
    case VIDIOC_ENUM_FRAMEINTERVALS: {
      auto* v = static_cast<struct v4l2_frmivalenum*>(arg);
      for (const FakeFormat& f : n.script.formats) {
        if (f.fourcc != v->pixel_format) continue;
        for (const FakeSize& s : f.sizes) {
          if (s.width != v->width || s.height != v->height) continue;
          if (v->index >= s.fps.size()) return -EINVAL;
          v->type = V4L2_FRMIVAL_TYPE_DISCRETE;
          v->discrete.numerator = 1;
          v->discrete.denominator = s.fps[v->index];
          return 0;
        }
      }
      return -EINVAL;
    }
    case VIDIOC_S_FMT: {
      if (n.busy) return -EBUSY;
      if (n.streaming) return -EBUSY;
      auto* f = static_cast<struct v4l2_format*>(arg);
      // Like a driver: an unknown format or size is adjusted, not refused.
      const FakeFormat* chosen = &n.script.formats.front();
      for (const FakeFormat& k : n.script.formats) {
        if (k.fourcc == f->fmt.pix.pixelformat) chosen = &k;
      }
      const FakeSize* size = &chosen->sizes.front();
      for (const FakeSize& s : chosen->sizes) {
        if (s.width == f->fmt.pix.width && s.height == f->fmt.pix.height) size = &s;
      }
      n.fourcc = chosen->fourcc;
      n.width = size->width;
      n.height = size->height;
      f->fmt.pix.pixelformat = n.fourcc;
      f->fmt.pix.width = n.width;
      f->fmt.pix.height = n.height;
      f->fmt.pix.sizeimage = static_cast<uint32_t>(imageBytes(n.fourcc, n.width, n.height));
      return 0;
    }
    case VIDIOC_S_PARM: return 0;
    case VIDIOC_QUERYCTRL:
    case VIDIOC_G_CTRL:
    case VIDIOC_S_CTRL: return controlIoctl(n, request, arg);
    case VIDIOC_REQBUFS: {
      auto* r = static_cast<struct v4l2_requestbuffers*>(arg);
      if (r->memory != V4L2_MEMORY_MMAP) return -EINVAL;
      if (n.busy) return -EBUSY;
      n.queued.clear();
      n.buffers.clear();
      size_t bytes = (imageBytes(n.fourcc, n.width, n.height) + kPage - 1) / kPage * kPage;
      for (uint32_t i = 0; i < r->count; ++i) n.buffers.emplace_back(bytes);
      return 0;
    }
    case VIDIOC_QUERYBUF:
    case VIDIOC_QBUF: {
      auto* b = static_cast<struct v4l2_buffer*>(arg);
      if (b->index >= n.buffers.size()) return -EINVAL;
      b->length = static_cast<uint32_t>(n.buffers[b->index].size());
      b->m.offset = b->index * kStride;
      if (request == VIDIOC_QBUF) n.queued.push_back(b->index);
      return 0;
    }
    case VIDIOC_DQBUF: {
      auto* b = static_cast<struct v4l2_buffer*>(arg);
      if (!n.streaming || n.queued.empty()) return -EAGAIN;
      uint32_t index = n.queued.front();
      n.queued.pop_front();
      // The image: depth and grey count up from the sequence number, YUYV
      // is grey luma of the sequence number, so a test can tell frames apart.
      std::vector<uint8_t>& buf = n.buffers[index];
      size_t bytes = imageBytes(n.fourcc, n.width, n.height);
      uint32_t seq = n.sequence++;
      if (!n.fill) {
      } else if (n.fourcc == V4L2_PIX_FMT_MJPEG) {
        bytes = std::min(n.payload.size(), buf.size());
        if (bytes > 0) std::memcpy(buf.data(), n.payload.data(), bytes);
      } else if (n.fourcc == V4L2_PIX_FMT_YUYV) {
        for (size_t i = 0; i < bytes; i += 2) {
          buf[i] = static_cast<uint8_t>(16 + seq % 200);
          buf[i + 1] = 128;
        }
      } else {
        for (size_t i = 0; i < bytes; ++i) buf[i] = static_cast<uint8_t>(seq + i);
      }
      std::memset(b, 0, sizeof *b);
      b->type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
      b->memory = V4L2_MEMORY_MMAP;
      b->index = index;
      b->sequence = seq;
      b->length = static_cast<uint32_t>(buf.size());
      b->bytesused = static_cast<uint32_t>(bytes);
      if (n.shortEvery != 0 && seq % n.shortEvery == n.shortEvery - 1) b->bytesused /= 2;
      else ++n.delivered;
      return 0;
    }
    case VIDIOC_STREAMON: n.streaming = true; return 0;
    case VIDIOC_STREAMOFF:
      n.streaming = false;
      n.queued.clear();
      return 0;
    default: return -ENOTTY;
  }
}

void* FakeSystem::mmap(size_t length, int fd, int64_t offset, int* error) {
  std::lock_guard<std::mutex> lock(m_lock);
  Node* n = nodeOf(fd);
  uint64_t index = static_cast<uint64_t>(offset) / kStride;
  if (n == nullptr || n->gone || index >= n->buffers.size() || n->buffers[index].size() != length) {
    *error = EINVAL;
    return nullptr;
  }
  ++m_mapped;
  return n->buffers[index].data();
}

int FakeSystem::munmap(void*, size_t) {
  ++m_unmapped;
  return 0;
}

int FakeSystem::poll(int fd, short /*events*/, short* revents, int timeoutMs) {
  {
    std::lock_guard<std::mutex> lock(m_lock);
    Node* n = nodeOf(fd);
    if (n == nullptr) return -EBADF;
    if (n->gone) {
      *revents = POLLERR;
      return 1;
    }
    if (n->streaming && !n->queued.empty()) {
      *revents = POLLIN;
      return 1;
    }
  }
  // Nothing to give: wait a little, as a driver would, then report a timeout.
  std::this_thread::sleep_for(std::chrono::milliseconds(std::min(timeoutMs, 5)));
  return 0;
}

long FakeSystem::read(int, void*, size_t) { return -EINVAL; }

std::vector<std::string> FakeSystem::listNodes() {
  std::lock_guard<std::mutex> lock(m_lock);
  std::vector<std::string> paths;
  for (const auto& [path, n] : m_nodes) {
    if (n.listed) paths.push_back(path);
  }
  return paths;
}

v4l2cam::NodeIdentity FakeSystem::identity(const std::string& nodePath) {
  std::lock_guard<std::mutex> lock(m_lock);
  auto it = m_nodes.find(nodePath);
  return it == m_nodes.end() ? v4l2cam::NodeIdentity() : it->second.script.identity;
}

}  // namespace v4l2test
