#include "pipeline/device.h"

#include <cstring>

#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/sensor.h"
#include "pipeline/video_stream.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {

namespace {
const char* orNull(const char* text) { return text != nullptr ? text : "(null)"; }
}  // namespace

Device::Device(DriverInterfaceBase* driver)
    : m_deviceFlags(255), m_opened(false), m_sensors(kSensorSlots, nullptr), m_driver(driver), m_device(nullptr) {
  std::memset(m_sensorStarted, 0, sizeof(m_sensorStarted));
}

Device::~Device() {
  for (Sensor*& sensor : m_sensors) {
    if (sensor == nullptr) continue;
    DeviceInterfaceBase* object = m_device.load();
    if (sensor->m_stream != nullptr && object != nullptr) {
      StreamInterfaceBase* stream = sensor->m_stream;  // the plug-in may clear its argument
      object->destroyStream(&stream);
    }
    delete sensor;
    sensor = nullptr;
  }
  m_sensors.clear();
}

int32_t Device::open(const char* uri) {
  logMessage(kLogTrace, "open device %s", orNull(uri));
  DeviceInterfaceBase* object = nullptr;
  const int32_t status = m_driver->openDevice(uri, &object);
  m_device.store(object);
  if (status != 0) return status;
  m_deviceId = uri != nullptr ? uri : "";
  m_deviceFlags = object != nullptr ? object->getDeviceFlags() : m_deviceFlags;
  m_opened.store(true);
  return 0;
}

int32_t Device::open2(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path) {
  logMessage(kLogTrace, "open device %s, fd:%d ", orNull(path), fd);
  DeviceInterfaceBase* object = nullptr;
  const int32_t status = m_driver->openDeviceByFd(vendorId, productId, fd, path, &object);
  m_device.store(object);
  if (status != 0) {
    logMessage(kLogMilestone, "Open Device(%s) Failed, fd(%d), Return Code:%d", orNull(path), fd, status);
    return status;
  }
  const char* id = object != nullptr ? object->getDeviceId() : nullptr;
  m_deviceId = id != nullptr ? id : "";
  logMessage(kLogTrace, "open2 m_deviceId = %s", m_deviceId.c_str());
  m_deviceFlags = object != nullptr ? object->getDeviceFlags() : m_deviceFlags;
  logMessage(kLogTrace, "open device %s, fd:%d, successfull ", orNull(path), fd);
  m_opened.store(true);
  return 0;
}

// The fields are cleared before the plug-in's call, so that nothing reaches a
// device object that is being closed.
void Device::close() {
  if (!m_opened.exchange(false)) {
    logMessage(kLogTrace, "Device not open");
    return;
  }
  DeviceInterfaceBase* object = m_device.exchange(nullptr);
  m_driver->closeDevice(&object);
}

VideoStream* Device::createStream(uint32_t sensorType) {
  // Types past the table are refused before anything is looked at; Context
  // gives the caller its own code for every null result.
  if (sensorType >= kSensorSlots) return nullptr;
  DeviceInterfaceBase* object = m_device.load();
  // Only 1 means gone here; other non-zero states still let a stream be made.
  if (object != nullptr && object->getConnectionState() == 1) {
    logMessage(kLogTrace, "Device disconnected, please check it");
    setLastErrorCode(kErrDeviceDisconnected);
    return nullptr;
  }
  if (!m_opened.load()) {
    logMessage(kLogTrace, "Device not open");
    setLastErrorCode(kErrInvalidDevice);
    return nullptr;
  }
  if (m_sensors[sensorType] == nullptr) m_sensors[sensorType] = new Sensor(this, sensorType);
  return new VideoStream(this, m_sensors[sensorType]);
}

}  // namespace sarvik
