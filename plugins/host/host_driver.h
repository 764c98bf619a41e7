// The plug-in object of a transport: the back ends it hosts, which cameras
// they list, and the devices opened on them.
#ifndef SARVIK_HOST_DRIVER_H
#define SARVIK_HOST_DRIVER_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host_backend.h"
#include "host_events.h"

namespace sarvikhost {

class HostDevice;

// Whether simulated back ends are listed: "auto" lists them only when the
// real back ends found no camera at initialize.
enum class SimulatedPolicy { Auto, On, Off };

struct HostOptions {
  std::string pluginName;      // "usb", "net": log lines and nothing else
  uint32_t connectionType = 1;  // ConnectionType of every record listed
  SimulatedPolicy simulated = SimulatedPolicy::Auto;
};

// Positions the module never calls keep the interface's placeholders.
class HostDriver final : public sarvik::DriverInterfaceBase {
 public:
  HostDriver(HostOptions options, std::vector<std::unique_ptr<Backend>> backends);
  // Ends the event thread, every device still open and the back ends.
  ~HostDriver();
  HostDriver(const HostDriver&) = delete;
  HostDriver& operator=(const HostDriver&) = delete;

  int32_t initialize() override;
  int32_t setDeviceStateCallback(DriverStateCallback callback, void* user) override;
  // Takes no lock that is held across a callback, so the module may call it
  // from inside one.
  int32_t getDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) override;
  // records has room for 60 whatever *count says on entry.
  int32_t getVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count) override;
  int32_t openDevice(const char* uri, sarvik::DeviceInterfaceBase** device) override;
  int32_t openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                         sarvik::DeviceInterfaceBase** device) override;
  int32_t closeDevice(sarvik::DeviceInterfaceBase** device) override;
  int32_t setTaskMode(bool enable) override;
  int32_t setFlag(uint8_t value) override;
  // Offered to each back end in turn; one that is for none is kept and 0.
  int32_t setText(std::string text) override;

  // The back ends, for the plug-in's own exports (tests, tools).
  const std::vector<std::unique_ptr<Backend>>& backends() const { return m_backends; }
  HostEvents& events() { return m_events; }

 private:
  std::vector<Backend*> visibleBackends() const;
  std::vector<CameraInfo> listAll() const;
  int32_t adopt(std::unique_ptr<Camera> camera, const CameraInfo& info, sarvik::DeviceInterfaceBase** device);

  const HostOptions m_options;
  std::vector<std::unique_ptr<Backend>> m_backends;  // fixed after construction
  std::atomic<bool> m_simulatedShown{true};
  std::once_flag m_started;

  std::mutex m_lock;  // never held across a call into the module or a back end
  std::vector<HostDevice*> m_devices;  // guarded by m_lock; owned
  std::string m_text;                  // guarded by m_lock
  std::atomic<bool> m_taskMode{false};
  std::atomic<uint8_t> m_flag{0};

  EventThread m_events;  // its thread ends first, in the destructor
};

}  // namespace sarvikhost

#endif  // SARVIK_HOST_DRIVER_H
