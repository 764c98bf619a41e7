// The module's handle on one open camera: a plug-in device object and a table
// of Sensors, one for each sensor type in use, and the factory of streams.
// Device commands go from Context straight to m_device.
//
// Device has no lock. Context serialises createStream under m_contextLock
// (that guards m_sensors) and closes every stream of a device before it closes
// and deletes the device, so streams and sensors may read m_device freely.
#ifndef SARVIK_PIPELINE_DEVICE_H
#define SARVIK_PIPELINE_DEVICE_H

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "sarvik/SarvikDriver.h"

namespace sarvik {

class Sensor;
class VideoStream;

// Sensor types index m_sensors; every named type (the largest is 32) fits.
constexpr uint32_t kSensorSlots = 64;

class Device {
 public:
  // Opens nothing.
  explicit Device(DriverInterfaceBase* driver);
  // Deletes the Sensors. The plug-in's stream objects are given back only if
  // the device object is still there, which Context's close order never leaves.
  virtual ~Device();

  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  // Opens by device address: 0 or the plug-in's status, unchanged.
  int32_t open(const char* uri);
  // Opens by a file descriptor the caller opened: 0 or the plug-in's status.
  // m_deviceId is then the id the plug-in reports, not the path.
  int32_t open2(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path);
  // Gives the device object back to the plug-in.
  void close();

  // A new, unstarted stream on the Sensor of this type, creating the Sensor at
  // its first use; null (with the last error set) when the device is
  // disconnected or not open. A type outside m_sensors gives null with nothing
  // touched. REQUIRES: serialised by the caller (m_contextLock).
  VideoStream* createStream(uint32_t sensorType);

  std::string m_deviceId;
  uint32_t m_deviceFlags;          // stored for the plug-in's sake; unread here
  std::atomic<bool> m_opened;
  std::vector<Sensor*> m_sensors;  // kSensorSlots entries, owned
  DriverInterfaceBase* m_driver;   // not owned
  std::atomic<DeviceInterfaceBase*> m_device;
  uint8_t m_sensorStarted[255];  // written under the Sensor's lock; unread here
};

}  // namespace sarvik

#endif  // SARVIK_PIPELINE_DEVICE_H
