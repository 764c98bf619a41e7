// The fake plug-in object: reports the devices the test chose and makes and
// ends FakeDevice objects.
#ifndef SARVIK_TESTS_FAKE_DRIVER_FAKE_DRIVER_H
#define SARVIK_TESTS_FAKE_DRIVER_FAKE_DRIVER_H

#include <mutex>
#include <string>
#include <vector>

#include "sarvik/SarvikDriver.h"

namespace sarvik_test {

class FakeDevice;

class FakeDriver final : public sarvik::DriverInterfaceBase {
 public:
  FakeDriver() = default;
  // Closes whatever devices the host left open.
  ~FakeDriver();

  int32_t initialize() override;
  int32_t setDeviceStateCallback(DriverStateCallback callback, void* user) override;
  int32_t getDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) override;
  int32_t getVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count) override;
  int32_t openDevice(const char* uri, sarvik::DeviceInterfaceBase** device) override;
  int32_t openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                         sarvik::DeviceInterfaceBase** device) override;
  int32_t closeDevice(sarvik::DeviceInterfaceBase** device) override;
  int32_t setTaskMode(bool enable) override;
  int32_t setFlag(uint8_t value) override;
  int32_t setText(std::string text) override;

 private:
  void adopt(FakeDevice* device);

  std::mutex m_mutex;  // guards m_devices
  std::vector<FakeDevice*> m_devices;
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_FAKE_DRIVER_FAKE_DRIVER_H
