#include "device.h"

#include <pybind11/stl.h>

#include <cstring>

#include "sarvik/SarvikStatus.h"

namespace py = pybind11;

namespace sarvik_py {

namespace {

std::string fixedString(const char* text, size_t room) { return std::string(text, strnlen(text, room)); }

const char* sensorName(uint32_t sensor) {
  switch (sensor) {
    case SARVIK_STREAM_COLOR: return "color";
    case SARVIK_STREAM_DEPTH: return "depth";
    case SARVIK_STREAM_IR: return "ir";
    case SARVIK_STREAM_LIGHT_IR: return "light_ir";
    default: return "unknown";
  }
}

}  // namespace

DeviceInfo DeviceInfo::from(const typedefSarvikDeviceInfo& record) {
  DeviceInfo info;
  info.uri = fixedString(record.uri, sizeof record.uri);
  info.serial = fixedString(record.serialNumber, sizeof record.serialNumber);
  info.name = fixedString(record.name, sizeof record.name);
  info.vendorId = record.vendorId;
  info.productId = record.productId;
  info.connection = record.ConnectionType;
  return info;
}

uint32_t parseSensor(py::handle sensor) {
  if (py::isinstance<py::str>(sensor)) {
    std::string name = py::cast<std::string>(sensor);
    if (name == "color" || name == "colour") return SARVIK_STREAM_COLOR;
    if (name == "depth") return SARVIK_STREAM_DEPTH;
    if (name == "ir") return SARVIK_STREAM_IR;
    if (name == "light_ir" || name == "light ir" || name == "lightir") return SARVIK_STREAM_LIGHT_IR;
    throw py::value_error("unknown sensor '" + name + "' (color, depth, ir, light_ir)");
  }
  if (py::isinstance<py::int_>(sensor)) {
    const long long value = py::cast<long long>(sensor);
    if (value == SARVIK_STREAM_COLOR || value == SARVIK_STREAM_DEPTH || value == SARVIK_STREAM_IR ||
        value == SARVIK_STREAM_LIGHT_IR) {
      return static_cast<uint32_t>(value);
    }
    throw py::value_error("unknown sensor " + std::to_string(value) + " (1, 2, 4 or 32)");
  }
  throw py::type_error("a sensor is a name or a number");
}

Device::Device(py::object context, std::shared_ptr<ContextCore> core, sarvik::Device* handle, DeviceInfo info)
    : m_context(std::move(context)), m_core(std::move(core)), m_handle(handle), m_info(std::move(info)) {}

Device::~Device() {
  try {
    close();
  } catch (py::error_already_set&) {
    PyErr_Clear();
  }
}

template <class F>
int32_t Device::call(F&& f) {
  if (m_handle == nullptr) throwError("the device " + m_info.uri + " is closed");
  sarvik::Device* handle = m_handle;
  return m_core->call([&](SarvikBaseContext* context) { return f(context, handle); });
}

std::vector<Mode> Device::modes(py::handle sensorArg) {
  const uint32_t sensor = parseSensor(sensorArg);
  std::vector<Mode> modes;
  uint32_t count = 0;
  int32_t status = call([&](SarvikBaseContext* c, sarvik::Device* d) {
    return c->getFrameModeList(d, sensor, 0, reinterpret_cast<uintptr_t>(&count));
  });
  if (status == kSarvikErrNotFound) return modes;  // the camera has no such sensor
  ContextCore::check(Op::kDevice, status, "listing the modes");
  // The list may change between the two calls (another back end); the
  // second call says how many it wrote.
  std::vector<SarvikModeRecord> records(count > 256 ? 256 : count);
  uint32_t room = static_cast<uint32_t>(records.size());
  if (room > 0) {
    status = call([&](SarvikBaseContext* c, sarvik::Device* d) {
      return c->getFrameModeList(d, sensor, reinterpret_cast<uintptr_t>(records.data()),
                                 reinterpret_cast<uintptr_t>(&room));
    });
    ContextCore::check(Op::kDevice, status, "listing the modes");
  }
  for (uint32_t i = 0; i < room && i < records.size(); ++i) modes.push_back(Mode{records[i]});
  return modes;
}

void Device::setMode(py::handle sensorArg, py::handle modeArg) {
  const uint32_t sensor = parseSensor(sensorArg);
  SarvikModeRecord record{};
  if (py::isinstance<Mode>(modeArg)) {
    record = py::cast<const Mode&>(modeArg).record;
  } else if (py::isinstance<py::int_>(modeArg)) {
    const long long index = py::cast<long long>(modeArg);
    std::vector<Mode> list = modes(sensorArg);
    if (index < 0 || index >= static_cast<long long>(list.size())) {
      throw py::index_error("no mode " + std::to_string(index) + " (" + std::to_string(list.size()) + " modes)");
    }
    record = list[static_cast<size_t>(index)].record;
  } else {
    throw py::type_error("set_mode needs a sarvik.Mode or a mode index");
  }
  const int32_t status = call([&](SarvikBaseContext* c, sarvik::Device* d) { return c->setFrameMode(d, sensor, &record.mode); });
  ContextCore::check(Op::kDevice, status, "setting the mode");
}

py::object Device::currentMode(py::handle sensorArg) {
  const uint32_t sensor = parseSensor(sensorArg);
  Mode mode;
  bool found = false;
  const int32_t status = call([&](SarvikBaseContext* c, sarvik::Device* d) {
    const typedefSarvikFrameMode* current = c->getCurrentFrameMode(d, sensor);
    // The SDK's transports point at a whole SarvikModeRecord.
    if (current != nullptr) {
      std::memcpy(&mode.record, current, sizeof mode.record);
      found = true;
    }
    return 0;
  });
  ContextCore::check(Op::kDevice, status, "reading the current mode");
  if (!found) return py::none();
  return py::cast(mode);
}

py::object Device::stream(py::object self, py::handle sensorArg) {
  const uint32_t sensor = parseSensor(sensorArg);
  if (m_handle == nullptr) throwError("the device " + m_info.uri + " is closed");
  std::shared_ptr<SensorHold>& hold = m_holds[sensor];
  if (!hold) hold = std::make_shared<SensorHold>();
  auto stream = std::make_unique<Stream>(std::move(self), m_core, m_handle, sensor, hold);
  m_streams.push_back(stream->core());
  return py::cast(std::move(stream));
}

py::bytes Device::getProperty(uint32_t id, uint32_t size) {
  if (size > (1u << 20)) throw py::value_error("a property of more than 1 MiB");
  std::string buffer(size, '\0');
  uint32_t length = size;
  const int32_t status = call([&](SarvikBaseContext* c, sarvik::Device* d) {
    return c->getDeviceProperty(d, id, buffer.empty() ? nullptr : &buffer[0], &length);
  });
  ContextCore::check(Op::kDevice, status, "reading property " + std::to_string(id));
  buffer.resize(length < size ? length : size);
  return py::bytes(buffer);
}

void Device::setProperty(uint32_t id, py::handle value) {
  std::string bytes;
  if (py::isinstance<py::bool_>(value) || py::isinstance<py::int_>(value)) {
    const long long number = py::cast<long long>(value);
    if (number < INT32_MIN || number > UINT32_MAX) throw py::value_error("an integer property is 32 bits");
    const uint32_t word = static_cast<uint32_t>(number);
    bytes.assign(reinterpret_cast<const char*>(&word), sizeof word);
  } else if (py::isinstance<py::float_>(value)) {
    const float number = py::cast<float>(value);
    bytes.assign(reinterpret_cast<const char*>(&number), sizeof number);
  } else if (PyObject_CheckBuffer(value.ptr())) {
    bytes = py::cast<std::string>(py::bytes(py::reinterpret_borrow<py::object>(value)));
  } else {
    throw py::type_error("a property value is an int, a float or bytes");
  }
  const int32_t status = call([&](SarvikBaseContext* c, sarvik::Device* d) {
    return c->setDeviceProperty(d, id, &bytes[0], static_cast<uint32_t>(bytes.size()));
  });
  ContextCore::check(Op::kDevice, status, "writing property " + std::to_string(id));
}

py::dict Device::intrinsics(py::handle sensorArg) {
  const uint32_t sensor = parseSensor(sensorArg);
  const std::string raw = getProperty(kSarvikPropertyIntrinsicsBase + sensor, sizeof(SarvikIntrinsics));
  if (raw.size() != sizeof(SarvikIntrinsics)) throwError("the camera answered intrinsics of a wrong size");
  SarvikIntrinsics in;
  std::memcpy(&in, raw.data(), sizeof in);
  py::dict d;
  d["width"] = in.width;
  d["height"] = in.height;
  d["fx"] = in.fx;
  d["fy"] = in.fy;
  d["cx"] = in.cx;
  d["cy"] = in.cy;
  return d;
}

py::tuple Device::depthUnit() {
  const std::string raw = getProperty(kSarvikPropertyDepthUnit, sizeof(SarvikDepthUnit));
  if (raw.size() != sizeof(SarvikDepthUnit)) throwError("the camera answered a depth unit of a wrong size");
  SarvikDepthUnit unit;
  std::memcpy(&unit, raw.data(), sizeof unit);
  return py::make_tuple(unit.encoding, unit.metresPerUnit);
}

py::list Device::properties() {
  const std::string raw = getProperty(kSarvikPropertyList, 256 * sizeof(SarvikPropertyInfo));
  py::list list;
  for (size_t at = 0; at + sizeof(SarvikPropertyInfo) <= raw.size(); at += sizeof(SarvikPropertyInfo)) {
    SarvikPropertyInfo info;
    std::memcpy(&info, raw.data() + at, sizeof info);
    py::dict d;
    d["id"] = info.id;
    d["name"] = fixedString(info.name, sizeof info.name);
    d["readable"] = (info.flags & kSarvikPropertyReadable) != 0;
    d["writable"] = (info.flags & kSarvikPropertyWritable) != 0;
    d["minimum"] = info.minimum;
    d["maximum"] = info.maximum;
    d["step"] = info.step;
    d["default"] = info.defaultValue;
    list.append(d);
  }
  return list;
}

std::string Device::command(const std::string& text) {
  std::string reply(4096, '\0');
  uint32_t length = static_cast<uint32_t>(reply.size());
  std::string request = text;
  const int32_t status = call([&](SarvikBaseContext* c, sarvik::Device* d) {
    return c->sendDeviceCommand(d, request.empty() ? nullptr : &request[0], static_cast<uint32_t>(request.size()),
                                reinterpret_cast<uintptr_t>(&reply[0]), reinterpret_cast<uintptr_t>(&length));
  });
  ContextCore::check(Op::kDevice, status, "command '" + text + "'");
  reply.resize(length < reply.size() ? length : reply.size());
  return reply;
}

void Device::close() {
  if (m_handle == nullptr) return;
  // Our streams first: the module would close them too, but a Stream object
  // must not keep a handle the module has deleted.
  for (const std::weak_ptr<StreamCore>& weak : m_streams) {
    if (std::shared_ptr<StreamCore> stream = weak.lock()) closeStreamCore(*stream);
  }
  m_streams.clear();
  sarvik::Device* handle = m_handle;
  const int32_t status = m_core->call([&](SarvikBaseContext* c) { return c->closeDevice(handle); });
  if (status == 0 || status == kContextClosed) {
    m_handle = nullptr;
    return;
  }
  ContextCore::check(Op::kDevice, status, "closing " + m_info.uri);
}

void bindDevice(py::module_& m) {
  py::class_<DeviceInfo>(m, "DeviceInfo", "One camera of the device list")
      .def_readonly("uri", &DeviceInfo::uri)
      .def_readonly("serial", &DeviceInfo::serial)
      .def_readonly("name", &DeviceInfo::name)
      .def_readonly("vendor_id", &DeviceInfo::vendorId)
      .def_readonly("product_id", &DeviceInfo::productId)
      .def_readonly("connection", &DeviceInfo::connection, "1 USB, 2 or 3 network, 4 other")
      .def("__repr__", [](const DeviceInfo& i) { return "<sarvik.DeviceInfo " + i.uri + " " + i.serial + ">"; });

  py::class_<Mode>(m, "Mode", "One mode of a sensor")
      .def_property_readonly("width", [](const Mode& x) { return sarvikModeWidth(x.record.mode); })
      .def_property_readonly("height", [](const Mode& x) { return sarvikModeHeight(x.record.mode); })
      .def_property_readonly("fps", [](const Mode& x) { return sarvikModeFps(x.record.mode); })
      .def_property_readonly("pixel_format", [](const Mode& x) -> py::object {
        const char* name = sarvikPixelName(sarvikModeFormat(x.record.mode));
        if (name == nullptr) return py::int_(sarvikModeFormat(x.record.mode));
        return py::str(name);
      })
      .def_property_readonly("index", [](const Mode& x) { return x.record.modeIndex; })
      .def_property_readonly("sensor", [](const Mode& x) { return x.record.sensorType; })
      .def_property_readonly("frame_bytes", [](const Mode& x) { return x.record.frameBytes; })
      .def("__eq__", [](const Mode& a, py::object b) {
        return py::isinstance<Mode>(b) && sarvikModeEquals(a.record.mode, py::cast<const Mode&>(b).record.mode);
      })
      .def("__hash__", [](const Mode& x) {
        return (static_cast<size_t>(x.record.mode.modeValue1) << 32) ^ (x.record.mode.modeValue3 << 16) ^
               (x.record.mode.modeValue4 << 8) ^ static_cast<uint8_t>(x.record.mode.modeValue2);
      })
      .def("__repr__", [](const Mode& x) {
        const char* name = sarvikPixelName(sarvikModeFormat(x.record.mode));
        return "<sarvik.Mode " + std::string(sensorName(x.record.sensorType)) + " " +
               std::to_string(sarvikModeWidth(x.record.mode)) + "x" + std::to_string(sarvikModeHeight(x.record.mode)) +
               "@" + std::to_string(sarvikModeFps(x.record.mode)) + " " + (name != nullptr ? name : "?") + ">";
      });

  py::class_<Device>(m, "Device", "An open camera; Context.open() gives one")
      .def("modes", &Device::modes, py::arg("sensor"), "The modes of a sensor; the first is the one it opens with")
      .def("set_mode", &Device::setMode, py::arg("sensor"), py::arg("mode"),
           "Choose a mode (a sarvik.Mode or an index into modes(sensor)); applies at the next start")
      .def("current_mode", &Device::currentMode, py::arg("sensor"))
      .def("stream", [](py::object self, py::handle sensor) { return self.cast<Device&>().stream(self, sensor); },
           py::arg("sensor"), "A new, not yet started stream of a sensor")
      .def("get_property", &Device::getProperty, py::arg("id"), py::arg("size") = 256)
      .def("set_property", &Device::setProperty, py::arg("id"), py::arg("value"),
           "An int is written as 32 bits, a float as 32 bits, bytes as they are")
      .def("intrinsics", &Device::intrinsics, py::arg("sensor"))
      .def("depth_unit", &Device::depthUnit, "(encoding, metres per unit) of the depth samples")
      .def("properties", &Device::properties, "what the camera offers, one dict per property")
      .def("command", &Device::command, py::arg("text"), "A text command ('ping', 'version', ...) and its reply")
      .def("close", &Device::close, "Stop its streams and close the camera")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](Device& d, py::args) { d.close(); })
      .def_property_readonly("closed", &Device::closed)
      .def_property_readonly("info", &Device::info)
      .def_property_readonly("uri", [](const Device& d) { return d.info().uri; })
      .def_property_readonly("serial", [](const Device& d) { return d.info().serial; })
      .def("__repr__", [](const Device& d) {
        return "<sarvik.Device " + d.info().uri + (d.closed() ? " closed>" : ">");
      });
}

}  // namespace sarvik_py
