// The object of one open fake device: it forwards nothing, logs every call
// with its arguments and answers what the control object says.
#ifndef SARVIK_TESTS_FAKE_DRIVER_FAKE_DEVICE_H
#define SARVIK_TESTS_FAKE_DRIVER_FAKE_DEVICE_H

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "sarvik/SarvikDriver.h"

namespace sarvik_test {

class FakeStream;

class FakeDevice final : public sarvik::DeviceInterfaceBase {
 public:
  // hasId false: getDeviceId answers null.
  FakeDevice(const std::string& id, bool hasId);
  // Ends every stream object of the device, their delivery threads included.
  ~FakeDevice();

  const std::string& id() const { return m_id; }

  int32_t createStream(uint32_t sensorType, sarvik::StreamInterfaceBase** stream) override;
  int32_t destroyStream(sarvik::StreamInterfaceBase** stream) override;
  int32_t setProperty(uint32_t id, void* data, uint32_t length) override;
  int32_t getProperty(uint32_t id, void* data, uint32_t* length) override;
  int32_t sendCommand(void* request, uint32_t requestLength, uint64_t word1, uint64_t word2) override;
  uint32_t getConnectionState() override;
  bool isStreamReady() override;
  int32_t depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx,
                            float fy, float cx, float cy, typedefSarvikPoint3D* points, uint32_t encoding,
                            bool clip) override;
  int32_t getFrameModeList(uint32_t sensorType, uint64_t word1, uint64_t word2) override;
  int32_t setFrameMode(uint32_t sensorType, const typedefSarvikFrameMode* mode, bool restart) override;
  const typedefSarvikFrameMode* getCurrentFrameMode(uint32_t sensorType) override;
  const char* getDeviceId() override;
  uint32_t getDeviceFlags() override;
  int32_t queryData(void* data) override;
  sarvik::DeviceTaskBase* createTask() override;

 private:
  static constexpr uint32_t kModeSlots = 64;

  const std::string m_id;
  const bool m_hasId;
  std::atomic<int> m_clouds{0};
  std::mutex m_mutex;  // guards m_streams and m_modes
  std::vector<FakeStream*> m_streams;
  // One current mode per sensor type; the host keeps the pointers while the device is open.
  typedefSarvikFrameMode m_modes[kModeSlots];
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_FAKE_DRIVER_FAKE_DEVICE_H
