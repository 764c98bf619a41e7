#include "v4l2_camera.h"

#include "v4l2_mjpeg.h"

#include <errno.h>
#include <poll.h>
#include <linux/videodev2.h>
#include <time.h>

#include <algorithm>
#include <cstring>
#include <system_error>

namespace v4l2cam {

namespace {

// Enough for the driver to fill one while we convert another and one waits.
constexpr uint32_t kBufferCount = 4;
// How often the streaming thread looks at its stop flag when no image comes.
constexpr int kPollMs = 50;

uint64_t monotonicMicros() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

int32_t statusOf(int error) {
  switch (error) {
    case -EBUSY: return kSarvikErrBusy;
    case -ENODEV:
    case -ENXIO: return kSarvikErrDisconnected;
    case -EINVAL: return kSarvikErrArgument;
    case -ERANGE: return kSarvikErrArgument;
    case -EACCES:
    case -EPERM: return kSarvikErrState;
    default: return kSarvikErrIo;
  }
}

bool isV4l2Id(uint32_t id) { return id >= kSarvikPropertyV4l2First && id <= kSarvikPropertyV4l2Last; }

}  // namespace

V4l2Camera::V4l2Camera(std::shared_ptr<System> sys, int fd, std::string path, std::vector<NodeMode> modes,
                       std::vector<Control> controls, LogFn log, std::function<void()> onGone)
    : m_sys(std::move(sys)),
      m_fd(fd),
      m_path(std::move(path)),
      m_nodeModes(std::move(modes)),
      m_controls(std::move(controls)),
      m_log(std::move(log)),
      m_onGone(std::move(onGone)) {
  // A size and rate offered both as MJPG and uncompressed would be two modes
  // the application cannot tell apart: the uncompressed one is kept, in the
  // place of the first, as it costs no decoding and loses nothing.
  for (const NodeMode& m : m_nodeModes) {
    uint32_t type = m.record.sensorType;
    std::vector<SarvikModeRecord>& list = m_byType[type];
    bool replaced = false;
    for (size_t i = 0; i < list.size(); ++i) {
      if (std::memcmp(&list[i].mode, &m.record.mode, sizeof m.record.mode) != 0) continue;
      if (m_source[type][i].fourcc == V4L2_PIX_FMT_MJPEG && m.fourcc != V4L2_PIX_FMT_MJPEG) m_source[type][i] = m;
      replaced = true;
      break;
    }
    if (replaced) continue;
    SarvikModeRecord record = m.record;
    record.modeIndex = static_cast<uint16_t>(list.size());
    list.push_back(record);
    m_source[type].push_back(m);
  }
}

V4l2Camera::~V4l2Camera() {
  uint32_t running;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    running = m_running;
  }
  stopSensor(running);
  m_sys->close(m_fd);
}

const std::vector<SarvikModeRecord>& V4l2Camera::modes(uint32_t sensorType) {
  if (sensorType == 0 || sensorType >= 5) return m_none;
  return m_byType[sensorType];
}

int32_t V4l2Camera::setUp(const NodeMode& mode) {
  struct v4l2_format format;
  std::memset(&format, 0, sizeof format);
  format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  format.fmt.pix.width = mode.width;
  format.fmt.pix.height = mode.height;
  format.fmt.pix.pixelformat = mode.fourcc;
  format.fmt.pix.field = V4L2_FIELD_NONE;
  int result = m_sys->ioctl(m_fd, VIDIOC_S_FMT, &format);
  if (result < 0) {
    m_log(m_path + ": cannot set " + fourccText(mode.fourcc) + " " + std::to_string(mode.width) + "x" +
          std::to_string(mode.height) + (result == -EBUSY ? ": the node is busy (another program uses it)" : ": " + std::string(std::strerror(-result))));
    return statusOf(result);
  }
  // A driver may adjust what it was asked for; an image of another shape
  // would not fit the mode the application chose.
  if (format.fmt.pix.width != mode.width || format.fmt.pix.height != mode.height ||
      format.fmt.pix.pixelformat != mode.fourcc) {
    m_log(m_path + ": the driver does not keep the mode " + fourccText(mode.fourcc) + " " +
          std::to_string(mode.width) + "x" + std::to_string(mode.height));
    return kSarvikErrUnsupported;
  }
  if (mode.fps > 0) {
    struct v4l2_streamparm parm;
    std::memset(&parm, 0, sizeof parm);
    parm.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    parm.parm.capture.timeperframe.numerator = 1;
    parm.parm.capture.timeperframe.denominator = mode.fps;
    // Rates are a wish: a driver without S_PARM streams at its own rate.
    m_sys->ioctl(m_fd, VIDIOC_S_PARM, &parm);
  }
  struct v4l2_requestbuffers request;
  std::memset(&request, 0, sizeof request);
  request.count = kBufferCount;
  request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  request.memory = V4L2_MEMORY_MMAP;
  result = m_sys->ioctl(m_fd, VIDIOC_REQBUFS, &request);
  if (result < 0 || request.count == 0 || request.count > 32) {
    m_log(m_path + (result == -EBUSY ? ": buffers are held by another program" : ": the driver gives no mmap buffers"));
    return result < 0 ? statusOf(result) : kSarvikErrIo;
  }
  for (uint32_t i = 0; i < request.count; ++i) {
    struct v4l2_buffer buffer;
    std::memset(&buffer, 0, sizeof buffer);
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    buffer.index = i;
    int error = 0;
    void* address = nullptr;
    if ((result = m_sys->ioctl(m_fd, VIDIOC_QUERYBUF, &buffer)) == 0 && buffer.length > 0) {
      address = m_sys->mmap(buffer.length, m_fd, buffer.m.offset, &error);
    }
    if (address == nullptr) {
      m_log(m_path + ": cannot map the driver's buffers");
      return result < 0 ? statusOf(result) : kSarvikErrIo;
    }
    m_buffers.push_back({address, buffer.length});
    if ((result = m_sys->ioctl(m_fd, VIDIOC_QBUF, &buffer)) < 0) {
      m_log(m_path + ": cannot queue a buffer: " + std::strerror(-result));
      return statusOf(result);
    }
  }
  int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  if ((result = m_sys->ioctl(m_fd, VIDIOC_STREAMON, &type)) < 0) {
    m_log(m_path + ": cannot start streaming: " + std::strerror(-result));
    return statusOf(result);
  }
  return 0;
}

void V4l2Camera::tearDown() {
  int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  m_sys->ioctl(m_fd, VIDIOC_STREAMOFF, &type);
  for (const Buffer& b : m_buffers) m_sys->munmap(b.address, b.length);
  m_buffers.clear();
  struct v4l2_requestbuffers request;
  std::memset(&request, 0, sizeof request);
  request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  request.memory = V4L2_MEMORY_MMAP;
  m_sys->ioctl(m_fd, VIDIOC_REQBUFS, &request);
}

int32_t V4l2Camera::startSensor(uint32_t sensorType, const SarvikModeRecord& mode, sarvikhost::FrameSink* sink) {
  if (m_gone) return kSarvikErrDisconnected;
  const NodeMode* chosen = nullptr;
  if (sensorType > 0 && sensorType < 5 && mode.modeIndex < m_source[sensorType].size() &&
      std::memcmp(&m_byType[sensorType][mode.modeIndex].mode, &mode.mode, sizeof mode.mode) == 0) {
    chosen = &m_source[sensorType][mode.modeIndex];
  }
  if (chosen == nullptr) return kSarvikErrNotFound;
  std::lock_guard<std::mutex> lock(m_lock);
  if (m_running != 0) return kSarvikErrBusy;
  if (int32_t status = setUp(*chosen)) {
    tearDown();
    return status;
  }
  m_stop = false;
  try {
    m_thread = std::thread(&V4l2Camera::run, this, *chosen, sink);
  } catch (const std::system_error&) {
    tearDown();
    return kSarvikErrIo;
  }
  m_running = sensorType;
  return 0;
}

void V4l2Camera::stopSensor(uint32_t sensorType) {
  std::lock_guard<std::mutex> lock(m_lock);
  if (m_running == 0 || m_running != sensorType) return;
  m_stop = true;
  if (m_thread.joinable()) m_thread.join();
  tearDown();
  m_running = 0;
}

void V4l2Camera::markGone() {
  if (m_gone.exchange(true)) return;
  m_log(m_path + ": the camera is gone (unplugged)");
  if (m_onGone) m_onGone();
}

void V4l2Camera::run(const NodeMode mode, sarvikhost::FrameSink* sink) {
  bool shortLogged = false;
  std::unique_ptr<MjpegDecoder> decoder;
  if (mode.fourcc == V4L2_PIX_FMT_MJPEG) decoder.reset(new MjpegDecoder());
  while (!m_stop) {
    short revents = 0;
    int ready = m_sys->poll(m_fd, POLLIN, &revents, kPollMs);
    if (ready < 0 || (ready > 0 && (revents & (POLLERR | POLLHUP | POLLNVAL)) && !(revents & POLLIN))) {
      markGone();
      return;
    }
    if (ready == 0) continue;
    struct v4l2_buffer buffer;
    std::memset(&buffer, 0, sizeof buffer);
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    int result = m_sys->ioctl(m_fd, VIDIOC_DQBUF, &buffer);
    if (result == -EAGAIN || result == -EINTR) continue;
    if (result < 0) {
      // ENODEV and EIO after an unplug; any other failure leaves nothing to stream either.
      if (result != -ENODEV) m_log(m_path + ": dequeue failed: " + std::strerror(-result));
      markGone();
      return;
    }
    bool whole = buffer.index < m_buffers.size() && !(buffer.flags & V4L2_BUF_FLAG_ERROR) &&
                 buffer.bytesused <= m_buffers[buffer.index].length &&
                 buffer.bytesused >= sourceBytes(mode.fourcc, mode.width, mode.height);
    if (!whole) {
      // One line for the stream, not one per image: a bad driver sends many.
      if (!shortLogged) {
        m_log(m_path + ": the driver sent a short or corrupt image (" + std::to_string(buffer.bytesused) + " bytes of " +
              std::to_string(sourceBytes(mode.fourcc, mode.width, mode.height)) + "); such images are dropped");
        shortLogged = true;
      }
      sink->lost();
    } else if (sarvik::FrameRefPtr frame = sink->acquire(mode.record.frameBytes)) {
      typedefSarvikFrame& record = *frame;
      const uint8_t* src = static_cast<const uint8_t*>(m_buffers[buffer.index].address);
      uint8_t* dst = static_cast<uint8_t*>(static_cast<void*>(record.data));
      bool good = decoder ? decoder->decode(src, buffer.bytesused, mode.width, mode.height, dst)
                          : convertImage(mode.fourcc, src, buffer.bytesused, mode.width, mode.height, dst);
      if (good) {
        record.pixelType = mode.record.mode.modeValue4;
        record.width = mode.width;
        record.height = mode.height;
        record.dataSize = mode.record.frameBytes;
        record.frameStamp = monotonicMicros();
        sink->deliver(std::move(frame));
      } else {
        if (!shortLogged) {
          m_log(m_path + ": the driver sent a corrupt " + fourccText(mode.fourcc) + " image; such images are dropped");
          shortLogged = true;
        }
        frame.reset();
        sink->lost();
      }
    }
    if (buffer.index < m_buffers.size() && (result = m_sys->ioctl(m_fd, VIDIOC_QBUF, &buffer)) < 0) {
      markGone();
      return;
    }
  }
}

std::vector<Control> V4l2Camera::queryControls(System& sys, int fd) {
  std::vector<Control> controls;
  uint32_t next = V4L2_CTRL_FLAG_NEXT_CTRL;
  for (int guard = 0; guard < 1024; ++guard) {
    struct v4l2_queryctrl query;
    std::memset(&query, 0, sizeof query);
    query.id = next;
    if (sys.ioctl(fd, VIDIOC_QUERYCTRL, &query) < 0) break;
    next = query.id | V4L2_CTRL_FLAG_NEXT_CTRL;
    if (query.flags & V4L2_CTRL_FLAG_DISABLED) continue;
    if (query.type != V4L2_CTRL_TYPE_INTEGER && query.type != V4L2_CTRL_TYPE_BOOLEAN &&
        query.type != V4L2_CTRL_TYPE_MENU && query.type != V4L2_CTRL_TYPE_INTEGER_MENU) {
      continue;
    }
    if (!isV4l2Id(query.id)) continue;
    Control c;
    std::memset(&c.info, 0, sizeof c.info);
    c.info.id = query.id;
    c.info.flags = kSarvikPropertyReadable;
    if (!(query.flags & (V4L2_CTRL_FLAG_READ_ONLY | V4L2_CTRL_FLAG_GRABBED))) c.info.flags |= kSarvikPropertyWritable;
    c.info.minimum = query.minimum;
    c.info.maximum = query.maximum;
    c.info.step = query.step;
    c.info.defaultValue = query.default_value;
    // The names are the driver's ("Exposure Time, Absolute"), cut to fit.
    std::memcpy(c.info.name, query.name, std::min(sizeof c.info.name - 1, strnlen(reinterpret_cast<const char*>(query.name), sizeof query.name)));
    controls.push_back(c);
  }
  return controls;
}

int32_t V4l2Camera::getProperty(uint32_t id, void* data, uint32_t* length) {
  if (!isV4l2Id(id)) return kSarvikErrUnsupported;
  bool known = false;
  for (const Control& c : m_controls) known = known || c.info.id == id;
  if (!known) return kSarvikErrNotFound;
  if (m_gone) return kSarvikErrDisconnected;
  struct v4l2_control control = {id, 0};
  int result = m_sys->ioctl(m_fd, VIDIOC_G_CTRL, &control);
  if (result < 0) return statusOf(result);
  int32_t value = control.value;
  uint32_t room = *length;
  std::memcpy(data, &value, std::min<uint32_t>(room, sizeof value));
  *length = sizeof value;
  return 0;
}

int32_t V4l2Camera::setProperty(uint32_t id, const void* data, uint32_t length) {
  if (!isV4l2Id(id)) return kSarvikErrUnsupported;
  const Control* found = nullptr;
  for (const Control& c : m_controls) {
    if (c.info.id == id) found = &c;
  }
  if (found == nullptr) return kSarvikErrNotFound;
  if (length != sizeof(int32_t)) return kSarvikErrArgument;
  if (!(found->info.flags & kSarvikPropertyWritable)) return kSarvikErrState;
  int32_t value;
  std::memcpy(&value, data, sizeof value);
  if (value < found->info.minimum || value > found->info.maximum) return kSarvikErrArgument;
  if (m_gone) return kSarvikErrDisconnected;
  struct v4l2_control control = {id, value};
  int result = m_sys->ioctl(m_fd, VIDIOC_S_CTRL, &control);
  return result < 0 ? statusOf(result) : 0;
}

int32_t V4l2Camera::propertyList(std::vector<SarvikPropertyInfo>* out) {
  for (const Control& c : m_controls) out->push_back(c.info);
  return 0;
}

}  // namespace v4l2cam
