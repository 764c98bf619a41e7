// Device commands: forwarded unchanged to the plug-in's device object after
// the device guard, with the context lock held across the plug-in's call.
#include <type_traits>

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
}  // namespace

template <typename Call>
auto Context::forwardToDevice(Device* device, bool openCheck, Call call) -> decltype(call(nullptr)) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  int32_t status = guardDevice(device, openCheck);
  if (status == 0) {
    // A concurrent closeDevice clears the device object before the Device
    // leaves the list: such a row answers as for a device that is not open,
    // without a plug-in call.
    if (DeviceInterfaceBase* object = device->m_device.load()) return call(object);
    setLastErrorCode(kErrInvalidDevice);
    status = -3;
  }
  if constexpr (std::is_pointer_v<decltype(call(nullptr))>) {
    return nullptr;
  } else {
    return status;
  }
}

int32_t Context::getFrameModeList(Device* device, uint32_t sensorType, uint64_t word1, uint64_t word2) {
  return forwardToDevice(device, false, [&](DeviceInterfaceBase* object) {
    return object->getFrameModeList(sensorType, word1, word2);
  });
}

int32_t Context::setFrameMode(Device* device, uint32_t sensorType, const typedefSarvikFrameMode* mode) {
  return forwardToDevice(device, false,
                         [&](DeviceInterfaceBase* object) { return object->setFrameMode(sensorType, mode, false); });
}

const typedefSarvikFrameMode* Context::getCurrentFrameMode(Device* device, uint32_t sensorType) {
  return forwardToDevice(device, false,
                         [&](DeviceInterfaceBase* object) { return object->getCurrentFrameMode(sensorType); });
}

int32_t Context::queryDeviceData(Device* device, void* data) {
  return forwardToDevice(device, false, [&](DeviceInterfaceBase* object) { return object->queryData(data); });
}

int32_t Context::setDeviceProperty(Device* device, uint32_t id, void* data, uint32_t length) {
  return forwardToDevice(device, true,
                         [&](DeviceInterfaceBase* object) { return object->setProperty(id, data, length); });
}

int32_t Context::getDeviceProperty(Device* device, uint32_t id, void* data, uint32_t* length) {
  return forwardToDevice(device, true,
                         [&](DeviceInterfaceBase* object) { return object->getProperty(id, data, length); });
}

int32_t Context::sendDeviceCommand(Device* device, void* request, uint32_t requestLength, uint64_t word1,
                                   uint64_t word2) {
  return forwardToDevice(device, true, [&](DeviceInterfaceBase* object) {
    return object->sendCommand(request, requestLength, word1, word2);
  });
}

int32_t Context::getDeviceProperty72(Device* device, void* buffer) {
  return forwardToDevice(device, true, [&](DeviceInterfaceBase* object) {
    // The client passes no length: the buffer must hold the whole 82-byte
    // block, and the length the plug-in writes back is dropped.
    uint32_t length = kPropertyInfoBlockLength;
    return object->getProperty(kPropertyInfoBlock, buffer, &length);
  });
}

// Unlike the other rows, the range of the mode is checked before the open check.
int32_t Context::setStreamFlagMode(Device* device, int32_t mode) {
  OperationScope scope(m_gate);
  ScopedLock lock(m_contextLock);
  if (int32_t status = guardDevice(device, false)) return status;
  if (mode < 1 || mode > 4) return -1;
  logMessage(4, "Set Stream Flag Mode = %d", mode);
  DeviceInterfaceBase* object = device->m_device.load();
  if (!device->m_opened.load() || object == nullptr) {
    setLastErrorCode(kErrInvalidDevice);
    return -3;
  }
  int32_t value = mode;
  return object->setProperty(kPropertyStreamFlagMode, &value, sizeof(value));
}

// The one row that runs the plug-in's call without the lock, and the one that
// succeeds without a call when the device object is gone.
int32_t Context::deviceDepthToPointCloud(Device* device, const uint16_t* depth, uint32_t width, uint32_t height,
                                         float scale, float fx, float fy, float cx, float cy,
                                         typedefSarvikPoint3D* points, uint32_t encoding, bool clip) {
  OperationScope scope(m_gate);
  DeviceInterfaceBase* object = nullptr;
  {
    // The object is read and the call counted in under the lock that
    // closeDevice clears it under: closeDevice then waits for this call.
    ScopedLock lock(m_contextLock);
    if (int32_t status = guardDeviceShort(device)) return status;
    object = device->m_device.load();
    if (object == nullptr) return 0;
    m_deviceCalls.enter(device);
  }
  DeviceCallScope counted(m_deviceCalls, device);
  return object->depthToPointCloud(depth, width, height, scale, fx, fy, cx, cy, points, encoding, clip);
}

}  // namespace sarvik
