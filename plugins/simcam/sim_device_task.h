// The device task of a simulated camera. It does nothing but remember what it
// was told (SimTaskRecord, readable through control) and answer isHolding as
// it was last set. It keeps copies of all it needs: the host deletes tasks
// after the device is closed and the plug-in object destroyed.
#ifndef SIMCAM_SIM_DEVICE_TASK_H
#define SIMCAM_SIM_DEVICE_TASK_H

#include <atomic>
#include <mutex>
#include <string>

#include "sarvik/SarvikDriver.h"
#include "sim_protocol.h"

namespace simcam {

class SimDeviceTask final : public sarvik::DeviceTaskBase {
 public:
  explicit SimDeviceTask(const std::string& location);
  ~SimDeviceTask() override;

  int32_t start(uint64_t word1, uint64_t word2) override;
  int32_t notify(uint64_t c, uint32_t a, uint32_t b, uint32_t d) override;
  // Runs on the plug-in's event thread while the application may be in start,
  // notify or control: everything goes through m_lock.
  int32_t onDeviceState(const char* deviceAddr, const char* sn, const char* location, uint32_t deviceState) override;
  // Actions by word1: see sim_protocol.h.
  int32_t control(uint64_t word1, uint64_t word2, uint64_t word3, uint64_t word4) override;
  bool isHolding() override { return m_holding; }
  std::string getLocation() override;

 private:
  std::mutex m_lock;
  std::string m_location;  // guarded by m_lock
  SimTaskRecord m_record;  // guarded by m_lock
  std::atomic<bool> m_holding{false};
};

}  // namespace simcam

#endif  // SIMCAM_SIM_DEVICE_TASK_H
