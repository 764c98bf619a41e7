#include "fake_driver.h"

#include <algorithm>

#include "fake_control.h"
#include "fake_device.h"

namespace sarvik_test {

FakeDriver::~FakeDriver() {
  std::vector<FakeDevice*> devices;
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    devices.swap(m_devices);
  }
  for (FakeDevice* device : devices) delete device;
}

int32_t FakeDriver::initialize() {
  FakeControl::instance().log("initialize");
  return FakeControl::instance().result(FakeOp::kInitialize);
}

int32_t FakeDriver::setDeviceStateCallback(DriverStateCallback callback, void* user) {
  FakeControl::instance().log("setDeviceStateCallback");
  FakeControl::instance().setStateCallback(callback, user);
  return 0;
}

int32_t FakeDriver::getDeviceList(typedefSarvikDeviceInfo* records, uint32_t* count) {
  FakeControl& control = FakeControl::instance();
  if (count == nullptr) {
    control.log("getDeviceList(room=null)");
    return -1;
  }
  control.log(formatText("getDeviceList(room=%u)", *count));
  control.eventInsideCall();
  const int32_t status = control.result(FakeOp::kGetDeviceList);
  if (status != 0) return status;
  return control.fillDeviceList(records, count);
}

int32_t FakeDriver::getVideoNodeList(typedefSarvikVideoNodeInfo* records, uint32_t* count) {
  FakeControl::instance().log("getVideoNodeList");
  if (records != nullptr && count != nullptr) FakeControl::instance().fillVideoNodeList(records, count);
  return 0;
}

void FakeDriver::adopt(FakeDevice* device) {
  std::lock_guard<std::mutex> guard(m_mutex);
  m_devices.push_back(device);
}

int32_t FakeDriver::openDevice(const char* uri, sarvik::DeviceInterfaceBase** device) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("openDevice(%s)", orNull(uri)));
  control.eventInsideCall();
  control.pausePoint(FakeOp::kOpenDevice);
  const int32_t status = control.result(FakeOp::kOpenDevice);
  if (status != 0 || device == nullptr) return status;
  auto* opened = new FakeDevice(orNull(uri), true);
  adopt(opened);
  *device = opened;
  return 0;
}

int32_t FakeDriver::openDeviceByFd(uint32_t vendorId, uint32_t productId, uint32_t fd, const char* path,
                                   sarvik::DeviceInterfaceBase** device) {
  FakeControl& control = FakeControl::instance();
  control.log(formatText("openDeviceByFd(vid=%x,pid=%x,fd=%u,path=%s)", vendorId, productId, fd, orNull(path)));
  control.pausePoint(FakeOp::kOpenDeviceByFd);
  const int32_t status = control.result(FakeOp::kOpenDeviceByFd);
  if (status != 0 || device == nullptr) return status;
  std::string id;
  const bool hasId = control.fdDeviceId(path, &id);
  auto* opened = new FakeDevice(id, hasId);
  adopt(opened);
  *device = opened;
  return 0;
}

int32_t FakeDriver::closeDevice(sarvik::DeviceInterfaceBase** device) {
  FakeControl& control = FakeControl::instance();
  if (device == nullptr || *device == nullptr) {
    control.log("closeDevice(null)");
    return 0;
  }
  FakeDevice* doomed = static_cast<FakeDevice*>(*device);
  {
    std::lock_guard<std::mutex> guard(m_mutex);
    auto found = std::find(m_devices.begin(), m_devices.end(), doomed);
    if (found == m_devices.end()) {
      control.log("closeDevice(unknown)");
      return -1;
    }
    m_devices.erase(found);
  }
  control.log("closeDevice(" + doomed->id() + ")");
  control.pausePoint(FakeOp::kCloseDevice);
  delete doomed;  // joins the delivery threads of its streams
  *device = nullptr;
  return 0;
}

int32_t FakeDriver::setTaskMode(bool enable) {
  FakeControl::instance().log(formatText("setTaskMode(%d)", enable ? 1 : 0));
  return 0;
}

int32_t FakeDriver::setFlag(uint8_t value) {
  FakeControl::instance().log(formatText("setFlag(%u)", static_cast<unsigned>(value)));
  FakeControl::instance().pausePoint(FakeOp::kSetFlag);
  return 0;
}

int32_t FakeDriver::setText(std::string text) {
  FakeControl::instance().log("setText(" + text + ")");
  return 0;
}

}  // namespace sarvik_test
