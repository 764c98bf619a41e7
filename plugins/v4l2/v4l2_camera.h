// One open V4L2 capture node. A node streams one format at a time, so of the
// sensors its formats give (colour, depth, ir) one runs at once; the others
// answer kSarvikErrBusy until it stops.
#ifndef SARVIK_V4L2_CAMERA_H
#define SARVIK_V4L2_CAMERA_H

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "../host/host_backend.h"
#include "v4l2_formats.h"
#include "v4l2_system.h"

namespace v4l2cam {

struct Control {
  SarvikPropertyInfo info;
};

class V4l2Camera final : public sarvikhost::Camera {
 public:
  using LogFn = std::function<void(const std::string&)>;
  // onGone runs once, from the streaming thread, when the node vanishes.
  V4l2Camera(std::shared_ptr<System> sys, int fd, std::string path, std::vector<NodeMode> modes,
             std::vector<Control> controls, LogFn log, std::function<void()> onGone);
  ~V4l2Camera() override;

  const std::vector<SarvikModeRecord>& modes(uint32_t sensorType) override;
  int32_t startSensor(uint32_t sensorType, const SarvikModeRecord& mode, sarvikhost::FrameSink* sink) override;
  void stopSensor(uint32_t sensorType) override;
  uint32_t connectionState() override { return m_gone ? 1 : 0; }
  int32_t getProperty(uint32_t id, void* data, uint32_t* length) override;
  int32_t setProperty(uint32_t id, const void* data, uint32_t length) override;
  int32_t propertyList(std::vector<SarvikPropertyInfo>* out) override;

  // Integer, boolean and menu controls of an open node, as properties.
  static std::vector<Control> queryControls(System& sys, int fd);

 private:
  struct Buffer {
    void* address = nullptr;
    size_t length = 0;
  };
  int32_t setUp(const NodeMode& mode);
  void tearDown();
  void run(const NodeMode mode, sarvikhost::FrameSink* sink);
  void markGone();

  const std::shared_ptr<System> m_sys;
  const int m_fd;
  const std::string m_path;
  const std::vector<NodeMode> m_nodeModes;
  const std::vector<Control> m_controls;
  const LogFn m_log;
  const std::function<void()> m_onGone;
  std::vector<SarvikModeRecord> m_byType[5];  // by sensor type, as listed
  std::vector<NodeMode> m_source[5];          // the driver format behind each listed mode
  const std::vector<SarvikModeRecord> m_none;
  std::atomic<bool> m_gone{false};
  std::atomic<bool> m_stop{false};

  std::mutex m_lock;            // guards what follows
  uint32_t m_running = 0;       // the sensor streaming, 0: none
  std::vector<Buffer> m_buffers;
  std::thread m_thread;
};

}  // namespace v4l2cam

#endif  // SARVIK_V4L2_CAMERA_H
