// An open camera: its modes, properties and streams.
#ifndef SARVIK_PYTHON_DEVICE_H
#define SARVIK_PYTHON_DEVICE_H

#include <pybind11/pybind11.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "context_core.h"
#include "frame.h"
#include "sarvik/SarvikCamera.h"
#include "stream.h"

namespace sarvik_py {

// One record of the device list, copied out of the module's table.
struct DeviceInfo {
  std::string uri;
  std::string serial;
  std::string name;
  uint32_t vendorId = 0;
  uint32_t productId = 0;
  uint32_t connection = 0;
  static DeviceInfo from(const typedefSarvikDeviceInfo& record);
};

// One mode of a sensor, as the SDK's transports describe it.
struct Mode {
  SarvikModeRecord record{};
};

// A sensor given as a number (1, 2, 4, 32) or a name ("color", "depth", "ir",
// "light_ir"); raises ValueError for anything else.
uint32_t parseSensor(pybind11::handle sensor);

class Device {
 public:
  Device(pybind11::object context, std::shared_ptr<ContextCore> core, sarvik::Device* handle, DeviceInfo info);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  std::vector<Mode> modes(pybind11::handle sensor);
  void setMode(pybind11::handle sensor, pybind11::handle mode);
  pybind11::object currentMode(pybind11::handle sensor);
  // A new Stream of `sensor`; `self` is this device's Python object.
  pybind11::object stream(pybind11::object self, pybind11::handle sensor);
  pybind11::bytes getProperty(uint32_t id, uint32_t size);
  void setProperty(uint32_t id, pybind11::handle value);
  pybind11::dict intrinsics(pybind11::handle sensor);
  pybind11::tuple depthUnit();
  pybind11::list properties();
  std::string command(const std::string& text);
  void close();
  bool closed() const { return m_handle == nullptr; }
  const DeviceInfo& info() const { return m_info; }

 private:
  // Runs f(context, device) for an open device; raises for a closed one.
  template <class F>
  int32_t call(F&& f);

  pybind11::object m_context;  // keeps the Context alive while the device is
  std::shared_ptr<ContextCore> m_core;
  sarvik::Device* m_handle;
  DeviceInfo m_info;
  std::map<uint32_t, std::shared_ptr<SensorHold>> m_holds;
  std::vector<std::weak_ptr<StreamCore>> m_streams;  // closed before the device
};

void bindDevice(pybind11::module_& m);

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_DEVICE_H
