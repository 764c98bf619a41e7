// The plug-in object of one transport: the simulated cameras of that
// transport, which of them are plugged in, and the devices opened on them.
#ifndef SIMCAM_SIM_DRIVER_H
#define SIMCAM_SIM_DRIVER_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "sarvik/SarvikDriver.h"
#include "sim_camera_profile.h"
#include "sim_config.h"
#include "sim_event_thread.h"

namespace simcam {

class SimDevice;

// Positions the host never calls keep the interface's placeholders.
class SimDriver final : public sarvik::DriverInterfaceBase {
 public:
  // folder: where the plug-in's file lies, with a trailing '/'; the
  // configuration and the control file are looked for there.
  SimDriver(SimTransport transport, const std::string& folder);
  // Ends the event thread and every device still open, joining all threads.
  ~SimDriver();
  SimDriver(const SimDriver&) = delete;
  SimDriver& operator=(const SimDriver&) = delete;

  int32_t initialize() override;
  int32_t setDeviceStateCallback(DriverStateCallback callback, void* user) override;
  // Writes at most *count records. Takes no lock that is held across a
  // callback, so the host may call it from inside one.
  int32_t getDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) override;
  // records has room for 60 whatever *count says on entry.
  int32_t getVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count) override;
  int32_t openDevice(const char* uri, sarvik::DeviceInterfaceBase** device) override;
  int32_t openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                         sarvik::DeviceInterfaceBase** device) override;
  int32_t closeDevice(sarvik::DeviceInterfaceBase** device) override;
  int32_t setTaskMode(bool enable) override;
  int32_t setFlag(uint8_t value) override;
  int32_t setText(std::string text) override;

  // Plugs a camera in or out by its address. The event follows on the event
  // thread. 0: changed, 1: already so, -1: no camera of this plug-in.
  int32_t setPresent(const std::string& uri, bool present);

  const SimConfig& config() const { return m_config; }

 private:
  struct Camera {
    SimCameraProfile profile;
    bool present;
  };

  SimCameraProfile makeProfile(uint32_t index) const;
  // REQUIRES: m_lock held. A camera by address, or by node path for USB.
  Camera* findCamera(const char* address);
  int32_t openOn(Camera* camera, sarvik::DeviceInterfaceBase** device);

  const SimTransport m_transport;
  const std::string m_folder;
  SimConfig m_config;

  std::mutex m_lock;  // never held across a call into the host
  std::vector<Camera> m_cameras;      // guarded by m_lock
  std::vector<SimDevice*> m_devices;  // guarded by m_lock; owned

  std::atomic<bool> m_taskMode{false};
  std::atomic<uint8_t> m_flag{0};
  std::string m_text;  // guarded by m_lock

  SimEventThread m_events;  // last member: its thread ends before the rest goes
};

}  // namespace simcam

#endif  // SIMCAM_SIM_DRIVER_H
