// The task of a fake device. Its location and isHolding answer come from the
// control object, by the id of the device that made it.
#ifndef SARVIK_TESTS_FAKE_DRIVER_FAKE_TASK_H
#define SARVIK_TESTS_FAKE_DRIVER_FAKE_TASK_H

#include <atomic>
#include <string>

#include "sarvik/SarvikDriver.h"

namespace sarvik_test {

class FakeTask final : public sarvik::DeviceTaskBase {
 public:
  explicit FakeTask(const std::string& deviceId);
  // The host deletes tasks, also after driverDestroy: only the control object,
  // which lives as long as the plug-in's file, is touched here.
  ~FakeTask() override;

  int32_t start(uint64_t word1, uint64_t word2) override;
  int32_t notify(uint64_t c, uint32_t a, uint32_t b, uint32_t d) override;
  int32_t onDeviceState(const char* deviceAddr, const char* sn, const char* location,
                        uint32_t deviceState) override;
  int32_t control(uint64_t word1, uint64_t word2, uint64_t word3, uint64_t word4) override;
  bool isHolding() override;
  std::string getLocation() override;

 private:
  const std::string m_deviceId;
  std::atomic<int> m_starts{0};
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_FAKE_DRIVER_FAKE_TASK_H
