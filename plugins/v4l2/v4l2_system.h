// The system calls of the V4L2 back end, behind one small interface, so that
// tests drive the back end with a scripted device (tests/plugins/v4l2/) and
// the real implementation stays a thin pass-through.
//
// Every call answers like the C library but returns -errno instead of -1
// and errno: 0 or a positive value on success, -ENODEV, -EBUSY, ... on failure.
#ifndef SARVIK_V4L2_SYSTEM_H
#define SARVIK_V4L2_SYSTEM_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace v4l2cam {

// Who a video node belongs to, from sysfs: the USB device above the node.
// Fields stay empty or zero when the node is not behind USB.
struct NodeIdentity {
  std::string name;      // the node's "name" in sysfs, e.g. "USB Camera: Depth"
  uint16_t vendorId = 0;
  uint16_t productId = 0;
  std::string serial;
  std::string location;  // "bus-port.port", e.g. "1-2.3"
};

class System {
 public:
  virtual ~System() = default;
  virtual int open(const std::string& path, int flags) = 0;  // fd or -errno
  virtual int close(int fd) = 0;
  virtual int ioctl(int fd, unsigned long request, void* arg) = 0;
  // null on failure, with *error set to the errno.
  virtual void* mmap(size_t length, int fd, int64_t offset, int* error) = 0;
  virtual int munmap(void* address, size_t length) = 0;
  // >0 ready (revents written), 0 timed out, -errno.
  virtual int poll(int fd, short events, short* revents, int timeoutMs) = 0;
  virtual long read(int fd, void* buffer, size_t length) = 0;
  // "/dev/videoN" paths present now, in number order.
  virtual std::vector<std::string> listNodes() = 0;
  virtual NodeIdentity identity(const std::string& nodePath) = 0;
};

// The machine's own calls; sysfsRoot and devRoot let a test point them at a
// tree of its own.
std::shared_ptr<System> realSystem(const std::string& sysfsRoot = "/sys", const std::string& devRoot = "/dev");

}  // namespace v4l2cam

#endif  // SARVIK_V4L2_SYSTEM_H
