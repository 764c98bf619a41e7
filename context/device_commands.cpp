// Device commands: forwarded unchanged to the plug-in's device object after
// the device guard, with the context lock held across the plug-in's call.
#include "context/context.h"
#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "logging/log_bridge.h"
#include "pipeline/device.h"
#include "platform/critical_section_wrapper.h"

namespace sarvik {

namespace {

constexpr uint32_t kPropertyInfoBlock = 72;
constexpr uint32_t kPropertyInfoBlockLength = 82;
constexpr uint32_t kPropertyStreamFlagMode = 75;

// The device object of a listed Device. A concurrent closeDevice clears it
// before the Device leaves the list; such a row answers as for a device that
// is not open, without a plug-in call.
DeviceInterfaceBase* deviceObject(Device* device, int32_t* status) {
  DeviceInterfaceBase* object = device->m_device.load();
  if (object == nullptr) {
    setLastErrorCode(kErrInvalidDevice);
    *status = -3;
  }
  return object;
}

}  // namespace

int32_t Context::getFrameModeList(Device* device, uint32_t sensorType, uint64_t word1, uint64_t word2) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, false);
  if (status != 0) return status;
  DeviceInterfaceBase* object = deviceObject(device, &status);
  return object != nullptr ? object->getFrameModeList(sensorType, word1, word2) : status;
}

int32_t Context::setFrameMode(Device* device, uint32_t sensorType, const typedefSarvikFrameMode* mode) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, false);
  if (status != 0) return status;
  DeviceInterfaceBase* object = deviceObject(device, &status);
  return object != nullptr ? object->setFrameMode(sensorType, mode, false) : status;
}

const typedefSarvikFrameMode* Context::getCurrentFrameMode(Device* device, uint32_t sensorType) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, false);
  if (status != 0) return nullptr;
  DeviceInterfaceBase* object = deviceObject(device, &status);
  return object != nullptr ? object->getCurrentFrameMode(sensorType) : nullptr;
}

int32_t Context::queryDeviceData(Device* device, void* data) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, false);
  if (status != 0) return status;
  DeviceInterfaceBase* object = deviceObject(device, &status);
  return object != nullptr ? object->queryData(data) : status;
}

int32_t Context::setDeviceProperty(Device* device, uint32_t id, void* data, uint32_t length) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, true);
  if (status != 0) return status;
  DeviceInterfaceBase* object = deviceObject(device, &status);
  return object != nullptr ? object->setProperty(id, data, length) : status;
}

int32_t Context::getDeviceProperty(Device* device, uint32_t id, void* data, uint32_t* length) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, true);
  if (status != 0) return status;
  DeviceInterfaceBase* object = deviceObject(device, &status);
  return object != nullptr ? object->getProperty(id, data, length) : status;
}

int32_t Context::sendDeviceCommand(Device* device, void* request, uint32_t requestLength, uint64_t word1,
                                   uint64_t word2) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, true);
  if (status != 0) return status;
  DeviceInterfaceBase* object = deviceObject(device, &status);
  return object != nullptr ? object->sendCommand(request, requestLength, word1, word2) : status;
}

int32_t Context::getDeviceProperty72(Device* device, void* buffer) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, true);
  if (status != 0) return status;
  DeviceInterfaceBase* object = deviceObject(device, &status);
  if (object == nullptr) return status;
  // The client passes no length: the buffer must hold the whole 82-byte block.
  uint32_t length = kPropertyInfoBlockLength;
  return object->getProperty(kPropertyInfoBlock, buffer, &length);
}

// Unlike the other rows, the range of the mode is checked before the open check.
int32_t Context::setStreamFlagMode(Device* device, int32_t mode) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, false);
  if (status != 0) return status;
  if (mode < 1 || mode > 4) return -1;
  logMessage(4, "Set Stream Flag Mode = %d", mode);
  if (!device->m_opened.load()) {
    setLastErrorCode(kErrInvalidDevice);
    return -3;
  }
  DeviceInterfaceBase* object = deviceObject(device, &status);
  if (object == nullptr) return status;
  int32_t value = mode;
  return object->setProperty(kPropertyStreamFlagMode, &value, sizeof(value));
}

// The one row that runs the plug-in's call without the lock, and the one that
// succeeds without a call when the device object is gone.
int32_t Context::deviceDepthToPointCloud(Device* device, const uint16_t* depth, uint32_t width, uint32_t height,
                                         float scale, float fx, float fy, float cx, float cy,
                                         typedefSarvikPoint3D* points, uint32_t encoding, bool clip) {
  OperationScope scope(m_gate);
  if (int32_t status = guardDeviceShort(device)) return status;
  DeviceInterfaceBase* object = device->m_device.load();
  if (object == nullptr) return 0;
  return object->depthToPointCloud(depth, width, height, scale, fx, fy, cx, cy, points, encoding, clip);
}

}  // namespace sarvik
