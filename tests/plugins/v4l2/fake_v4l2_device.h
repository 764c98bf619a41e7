// A scripted V4L2 device behind the back end's system-call interface. It
// answers the ioctls of the capture cycle the way the V4L2 documentation
// describes (EINVAL ends an enumeration, NEXT_CTRL walks the controls, QBUF /
// DQBUF move buffers between the application and the driver) and lets a test
// unplug a node, make it busy or make it send short images.
#ifndef SARVIK_TEST_FAKE_V4L2_DEVICE_H
#define SARVIK_TEST_FAKE_V4L2_DEVICE_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "plugins/v4l2/v4l2_system.h"

namespace v4l2test {

struct FakeSize {
  uint32_t width, height;
  std::vector<uint32_t> fps;  // discrete intervals 1/fps
};
struct FakeFormat {
  uint32_t fourcc;
  std::vector<FakeSize> sizes;
};
struct FakeControl {
  uint32_t id;
  uint32_t type;  // V4L2_CTRL_TYPE_...
  const char* name;
  int32_t minimum, maximum, step, defaultValue;
  uint32_t flags;
};
// What one node answers; the test data files hold real-looking scripts.
struct FakeScript {
  std::string card;
  uint32_t deviceCaps;
  std::vector<FakeFormat> formats;
  std::vector<FakeControl> controls;
  v4l2cam::NodeIdentity identity;
};

// A UVC webcam: YUYV, MJPG and RGB3 at common sizes, the usual controls.
FakeScript webcamScript();
// A depth camera over UVC: Z16, a "Depth" Y16 and GREY infrared.
FakeScript depthScript();
// The metadata node a UVC camera has beside its capture node.
FakeScript metadataScript();

class FakeSystem final : public v4l2cam::System {
 public:
  void add(const std::string& path, FakeScript script);
  void remove(const std::string& path);   // the node leaves the list
  void unplug(const std::string& path);   // every call on it fails with ENODEV
  void setBusy(const std::string& path, bool busy);  // S_FMT and REQBUFS: EBUSY
  void setShortEvery(const std::string& path, uint32_t n);  // every n-th image is half long
  void setOpenError(const std::string& path, int error);
  // The bytes every image of a compressed format (MJPG) carries.
  void setPayload(const std::string& path, std::vector<uint8_t> bytes);
  // false: images keep what the buffer held, so a benchmark measures the
  // back end, not the fake drawing its pattern.
  void setFill(const std::string& path, bool fill);

  // Counters the tests read.
  uint32_t mapped() const { return m_mapped; }
  uint32_t unmapped() const { return m_unmapped; }
  uint32_t openFds() const { return m_openFds; }
  uint32_t delivered(const std::string& path);

  int open(const std::string& path, int flags) override;
  int close(int fd) override;
  int ioctl(int fd, unsigned long request, void* arg) override;
  void* mmap(size_t length, int fd, int64_t offset, int* error) override;
  int munmap(void* address, size_t length) override;
  int poll(int fd, short events, short* revents, int timeoutMs) override;
  long read(int fd, void* buffer, size_t length) override;
  std::vector<std::string> listNodes() override;
  v4l2cam::NodeIdentity identity(const std::string& nodePath) override;

 private:
  struct Node {
    FakeScript script;
    bool listed = true;
    bool gone = false;
    bool busy = false;
    int openError = 0;
    uint32_t shortEvery = 0;
    std::vector<uint8_t> payload;
    bool fill = true;
    std::map<uint32_t, int32_t> values;
    uint32_t fourcc = 0, width = 0, height = 0;
    bool streaming = false;
    std::vector<std::vector<uint8_t>> buffers;
    std::deque<uint32_t> queued;  // owned by the driver, to be filled
    uint32_t sequence = 0;
    uint32_t delivered = 0;
  };
  Node* nodeOf(int fd);  // with m_lock held
  int controlIoctl(Node& n, unsigned long request, void* arg);

  std::mutex m_lock;
  std::map<std::string, Node> m_nodes;
  std::map<int, std::string> m_fds;
  int m_nextFd = 100;
  std::atomic<uint32_t> m_mapped{0}, m_unmapped{0}, m_openFds{0};
};

}  // namespace v4l2test

#endif  // SARVIK_TEST_FAKE_V4L2_DEVICE_H
