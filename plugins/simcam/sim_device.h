// One open simulated camera. Each open makes a new object with the default
// properties and the first mode of every sensor current. An object belongs
// to one connection: once its camera is unplugged it stays disconnected, and
// the application opens the camera again after it is plugged back.
#ifndef SIMCAM_SIM_DEVICE_H
#define SIMCAM_SIM_DEVICE_H

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "sarvik/SarvikDriver.h"
#include "sim_camera_profile.h"

namespace simcam {

class SimStream;

// Positions the host never calls keep the interface's placeholders.
class SimDevice final : public sarvik::DeviceInterfaceBase {
 public:
  explicit SimDevice(const SimCameraProfile& profile);
  ~SimDevice();  // destroys the streams left, joining their threads
  SimDevice(const SimDevice&) = delete;
  SimDevice& operator=(const SimDevice&) = delete;

  int32_t createStream(uint32_t sensorType, sarvik::StreamInterfaceBase** stream) override;
  int32_t destroyStream(sarvik::StreamInterfaceBase** stream) override;
  int32_t setProperty(uint32_t id, void* data, uint32_t length) override;
  // Copies at most the room in *length and writes the property's real length
  // there: a value above the room on return means the reply was cut.
  int32_t getProperty(uint32_t id, void* data, uint32_t* length) override;
  int32_t sendCommand(void* request, uint32_t requestLength, uint64_t word1, uint64_t word2) override;
  uint32_t getConnectionState() override;
  bool isStreamReady() override;
  int32_t depthToPointCloud(const uint16_t* depth, uint32_t width, uint32_t height, float scale, float fx, float fy,
                            float cx, float cy, typedefSarvikPoint3D* points, uint32_t encoding,
                            bool clip) override;
  // See sim_frame_mode.h for what the two words carry.
  int32_t getFrameModeList(uint32_t sensorType, uint64_t word1, uint64_t word2) override;
  int32_t setFrameMode(uint32_t sensorType, const typedefSarvikFrameMode* mode, bool restart) override;
  const typedefSarvikFrameMode* getCurrentFrameMode(uint32_t sensorType) override;
  const char* getDeviceId() override;
  uint32_t getDeviceFlags() override;
  int32_t queryData(void* data) override;
  sarvik::DeviceTaskBase* createTask() override;

  const SimCameraProfile& profile() const { return m_profile; }
  bool connected() const { return m_connected; }
  // Lock-free: delivery threads ask for it.
  bool currentMode(uint32_t sensorType, SimFrameMode* out) const;
  // For good; stops the frames of every stream.
  void markUnplugged();
  // Stops and deletes every stream; afterwards nothing of this device calls the host.
  void closeStreams();

 private:
  void storeDeviceInfo();

  const SimCameraProfile m_profile;
  std::atomic<bool> m_connected{true};
  std::atomic<uint32_t> m_current[4];  // index into m_profile.modes of each sensor

  std::mutex m_lock;  // guards the two members below
  std::map<uint32_t, std::vector<uint8_t>> m_properties;
  std::vector<SimStream*> m_streams;  // owned
};

}  // namespace simcam

#endif  // SIMCAM_SIM_DEVICE_H
