#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "v4l2_system.h"

namespace v4l2cam {

namespace {

std::string readLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  if (!in || !std::getline(in, line)) return {};
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r' || line.back() == ' ')) line.pop_back();
  return line;
}

uint16_t readHex(const std::string& path) {
  std::string text = readLine(path);
  if (text.empty()) return 0;
  char* end = nullptr;
  unsigned long value = std::strtoul(text.c_str(), &end, 16);
  if (end == text.c_str() || value > 0xffff) return 0;
  return static_cast<uint16_t>(value);
}

// Plain sysfs rather than libudev: enumeration needs four small files and
// keeps the plug-in free of a library that is absent in minimal containers.
class RealSystem final : public System {
 public:
  RealSystem(std::string sysfs, std::string dev) : m_sysfs(std::move(sysfs)), m_dev(std::move(dev)) {}

  int open(const std::string& path, int flags) override {
    int fd = ::open(path.c_str(), flags | O_CLOEXEC);
    return fd < 0 ? -errno : fd;
  }
  int close(int fd) override { return ::close(fd) < 0 ? -errno : 0; }
  int ioctl(int fd, unsigned long request, void* arg) override {
    int result;
    do {
      result = ::ioctl(fd, request, arg);
    } while (result < 0 && errno == EINTR);
    return result < 0 ? -errno : result;
  }
  void* mmap(size_t length, int fd, int64_t offset, int* error) override {
    void* address = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, static_cast<off_t>(offset));
    if (address == MAP_FAILED) {
      *error = errno;
      return nullptr;
    }
    return address;
  }
  int munmap(void* address, size_t length) override { return ::munmap(address, length) < 0 ? -errno : 0; }
  int poll(int fd, short events, short* revents, int timeoutMs) override {
    struct pollfd p = {fd, events, 0};
    int result = ::poll(&p, 1, timeoutMs);
    if (result < 0) return errno == EINTR ? 0 : -errno;
    *revents = p.revents;
    return result;
  }
  long read(int fd, void* buffer, size_t length) override {
    ssize_t got = ::read(fd, buffer, length);
    return got < 0 ? -errno : got;
  }

  std::vector<std::string> listNodes() override {
    std::vector<int> numbers;
    if (DIR* dir = ::opendir((m_sysfs + "/class/video4linux").c_str())) {
      while (struct dirent* entry = ::readdir(dir)) {
        std::string name = entry->d_name;
        if (name.compare(0, 5, "video") != 0 || name.size() == 5 || name.size() > 9) continue;
        if (name.find_first_not_of("0123456789", 5) != std::string::npos) continue;
        numbers.push_back(std::atoi(name.c_str() + 5));
      }
      ::closedir(dir);
    }
    std::sort(numbers.begin(), numbers.end());
    std::vector<std::string> paths;
    for (int n : numbers) paths.push_back(m_dev + "/video" + std::to_string(n));
    return paths;
  }

  NodeIdentity identity(const std::string& nodePath) override {
    NodeIdentity id;
    std::string node = nodePath.substr(nodePath.rfind('/') + 1);
    std::string base = m_sysfs + "/class/video4linux/" + node;
    id.name = readLine(base + "/name");
    // device -> the USB interface; its parent is the USB device with the ids.
    char resolved[PATH_MAX];
    if (::realpath((base + "/device").c_str(), resolved) == nullptr) return id;
    std::string usb = resolved;
    usb = usb.substr(0, usb.rfind('/'));
    id.vendorId = readHex(usb + "/idVendor");
    id.productId = readHex(usb + "/idProduct");
    if (id.vendorId == 0 && id.productId == 0) return id;
    id.serial = readLine(usb + "/serial");
    id.location = usb.substr(usb.rfind('/') + 1);
    return id;
  }

 private:
  const std::string m_sysfs;
  const std::string m_dev;
};

}  // namespace

std::shared_ptr<System> realSystem(const std::string& sysfsRoot, const std::string& devRoot) {
  return std::make_shared<RealSystem>(sysfsRoot, devRoot);
}

}  // namespace v4l2cam
