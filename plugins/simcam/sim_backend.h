// The simulated cameras of one transport as a back end: which of them are
// plugged in, the hot-plug schedule and control file, and the cameras opened
// on them. Settings: simcam.conf (README.md), read where host_settings.h says.
#ifndef SIMCAM_SIM_BACKEND_H
#define SIMCAM_SIM_BACKEND_H

#include <mutex>
#include <string>
#include <vector>

#include "../host/host_backend.h"
#include "sim_camera_profile.h"
#include "sim_config.h"
#include "sim_hotplug.h"

namespace simcam {

class SimCamera;

class SimBackend final : public sarvikhost::Backend {
 public:
  // The configuration is read here: every copy of simcam.conf, then
  // SARVIK_SIM_CAMERAS for the number of USB cameras.
  explicit SimBackend(SimTransport transport);
  ~SimBackend() override;

  const char* name() const override { return "sim"; }
  sarvikhost::BackendKind kind() const override { return sarvikhost::BackendKind::Simulated; }
  void start(sarvikhost::HostEvents* events) override;
  void poll() override;
  void stop() override;
  void list(std::vector<sarvikhost::CameraInfo>* out) override;
  int32_t open(const std::string& address, std::unique_ptr<sarvikhost::Camera>* out,
               sarvikhost::CameraInfo* info) override;
  int32_t openByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const std::string& path,
                   std::unique_ptr<sarvikhost::Camera>* out, sarvikhost::CameraInfo* info) override;

  // Plugs a camera in or out by its address; the event follows on the host's
  // event thread. 0: changed, 1: already so, -1: no camera of this back end.
  int32_t setPresent(const std::string& uri, bool present);
  // A SimCamera going away.
  void forget(SimCamera* camera);

  const SimConfig& config() const { return m_config; }

 private:
  struct Slot {
    SimCameraProfile profile;
    bool present;
  };

  SimCameraProfile makeProfile(uint32_t index) const;
  sarvikhost::CameraInfo infoOf(const SimCameraProfile& profile) const;
  // REQUIRES: m_lock held. A camera by address, or by node path for USB.
  Slot* find(const std::string& address);
  int32_t openOn(Slot* slot, std::unique_ptr<sarvikhost::Camera>* out, sarvikhost::CameraInfo* info);

  const SimTransport m_transport;
  SimConfig m_config;
  SimHotplug m_hotplug;  // the event thread's alone

  std::mutex m_lock;  // a leaf: nothing outside is called while it is held but HostEvents::post
  std::vector<Slot> m_slots;              // guarded by m_lock
  std::vector<SimCamera*> m_open;         // guarded by m_lock; not owned
  sarvikhost::HostEvents* m_events = nullptr;  // guarded by m_lock
};

// Plugs a camera of every SimBackend alive in this library, as the exports
// simcamUnplug / simcamPlug do. 0 changed, 1 no change, -1 unknown address.
int32_t simSetPresentEverywhere(const char* uri, bool present);

}  // namespace simcam

#endif  // SIMCAM_SIM_BACKEND_H
