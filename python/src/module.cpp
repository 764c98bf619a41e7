// The extension module sarvik._sarvik; the package sarvik re-exports it.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "context_core.h"
#include "device.h"
#include "frame.h"
#include "imaging.h"
#include "module_path.h"
#include "recorder.h"
#include "sarvik/SarvikDevicePick.h"
#include "sarvik/SarvikStatus.h"
#include "stream.h"

namespace py = pybind11;

namespace sarvik_py {

std::string& bakedModulePath() {
  static std::string* path = new std::string();
  return *path;
}

namespace {

// The one open context of the process, for the exit hook.
std::weak_ptr<ContextCore>& openCore() {
  static auto* core = new std::weak_ptr<ContextCore>();
  return *core;
}

// Frames a program may hold per sensor before new ones come as copies. The
// pool has 10 frames and keeps 3 free; each started stream's queue holds one.
constexpr int32_t kDefaultHeldLimit = 4;
constexpr int32_t kMaxHeldLimit = 6;

class Context {
 public:
  Context(py::object netServers, int32_t heldLimit) {
    if (heldLimit < 1 || heldLimit > kMaxHeldLimit) {
      throw py::value_error("frames_held_per_sensor must be 1 to " + std::to_string(kMaxHeldLimit));
    }
    std::vector<std::string> servers;
    if (!netServers.is_none()) {
      if (py::isinstance<py::str>(netServers)) throw py::type_error("net_servers is a list of 'host:port' strings");
      for (py::handle server : netServers) {
        if (!py::isinstance<py::str>(server)) throw py::type_error("net_servers is a list of 'host:port' strings");
        std::string text = py::cast<std::string>(server);
        if (text.empty() || text.find_first_of(",\0", 0, 2) != std::string::npos) {
          throw py::value_error("net server '" + text + "' is not of the form host:port");
        }
        servers.push_back(text);
      }
    }
    m_core = std::make_shared<ContextCore>(heldLimit);
    m_core->open(bakedModulePath(), servers);
    openCore() = m_core;
  }
  ~Context() {
    try {
      m_core->close();
    } catch (py::error_already_set&) {
      PyErr_Clear();
    }
    // Dropped on a frame callback's thread, where the module refuses to shut
    // down: its device-state callback still points at the core. The exit
    // hook closes it.
    if (m_core->isOpen()) keepUntilExit(m_core);
  }

  std::vector<DeviceInfo> devices() {
    std::vector<DeviceInfo> list;
    const int32_t status = m_core->call([&](SarvikBaseContext* c) {
      typedefSarvikDeviceInfo* table = nullptr;
      uint32_t count = 0;
      const int32_t result = c->getDeviceList(&table, &count);
      if (result == 0 && table != nullptr) {
        for (uint32_t i = 0; i < count; ++i) list.push_back(DeviceInfo::from(table[i]));
      }
      return result;
    });
    ContextCore::check(Op::kOther, status, "listing devices");
    return list;
  }

  py::object open(py::object self, py::object selector) {
    std::string text;
    if (py::isinstance<py::int_>(selector)) {
      const long long index = py::cast<long long>(selector);
      if (index < 0) throw py::index_error("no camera with a negative index");
      text = std::to_string(index);
    } else if (py::isinstance<DeviceInfo>(selector)) {
      text = py::cast<const DeviceInfo&>(selector).uri;
    } else if (!selector.is_none()) {
      text = py::cast<std::string>(selector);
    }
    std::vector<DeviceInfo> list = devices();
    std::vector<typedefSarvikDeviceInfo> records(list.size());
    for (size_t i = 0; i < list.size(); ++i) {
      std::snprintf(records[i].uri, sizeof records[i].uri, "%s", list[i].uri.c_str());
      std::snprintf(records[i].serialNumber, sizeof records[i].serialNumber, "%s", list[i].serial.c_str());
    }
    std::string why;
    const typedefSarvikDeviceInfo* picked =
        sarvik::pickDevice(records.data(), static_cast<uint32_t>(records.size()), text, &why);
    // An address the list does not show (a /dev/video node) still goes to the module.
    const bool listed = picked != nullptr;
    if (!listed && (text.empty() || text.find('/') == std::string::npos)) throwError(why);
    DeviceInfo info;
    if (listed) {
      info = list[static_cast<size_t>(picked - records.data())];
    } else {
      info.uri = text;
    }
    sarvik::Device* handle = nullptr;
    const int32_t status = m_core->call([&](SarvikBaseContext* c) { return c->openDevice(info.uri.c_str(), &handle); });
    ContextCore::check(Op::kOpenDevice, status, "opening " + info.uri);
    if (handle == nullptr) throwError("the camera " + info.uri + " is open already");
    return py::cast(std::make_unique<Device>(std::move(self), m_core, handle, info));
  }

  py::object record(py::object self, py::object path, py::list streams) {
    const std::string file = py::cast<std::string>(py::module_::import("os").attr("fspath")(path));
    return py::cast(std::make_unique<Recorder>(std::move(self), m_core, file, streams));
  }

  void onDeviceChange(py::object callback) {
    if (!PyCallable_Check(callback.ptr())) throw py::type_error("on_device_change needs a callable");
    m_core->addDeviceCallback(std::move(callback));
  }

  void close() { m_core->close(); }
  bool closed() const { return !m_core->isOpen(); }

 private:
  std::shared_ptr<ContextCore> m_core;
};

py::object forward(const char* name, py::args args, py::kwargs kwargs) {
  return py::module_::import("sarvik._sarvik").attr(name)(*args, **kwargs);
}

}  // namespace

}  // namespace sarvik_py

PYBIND11_MODULE(_sarvik, m) {
  using namespace sarvik_py;
  m.doc() = "The SDK module, wrapped; import the package sarvik rather than this";
  bindFrame(m);
  bindDevice(m);
  bindStream(m);
  bindRecorder(m);
  bindImaging(m);

  py::class_<Context>(m, "Context",
                      "The SDK: one per process. Use as a context manager, or call close().\n\n"
                      "net_servers: 'host:port' strings for the network plug-in (sets SARVIK_NET_SERVERS "
                      "before initialising). frames_held_per_sensor: module frames Python may keep per "
                      "sensor before new frames come as copies (1 to 6, default 4).")
      .def(py::init<py::object, int32_t>(), py::arg("net_servers") = py::none(),
           py::arg("frames_held_per_sensor") = kDefaultHeldLimit)
      .def("devices", &Context::devices, "The cameras present now")
      .def("open", [](py::object self, py::object device) { return self.cast<Context&>().open(self, device); },
           py::arg("device") = py::none(),
           "Open a camera by address, serial or index; None takes the first")
      .def("record",
           [](py::object self, py::object path, py::list streams) {
             return self.cast<Context&>().record(self, path, streams);
           },
           py::arg("path"), py::arg("streams"),
           "Record started streams to a file until the recorder is closed")
      .def("on_device_change", &Context::onDeviceChange, py::arg("callback"),
           "callback(address, serial, present) on the plug-in's thread when a camera comes or goes")
      .def("close", &Context::close)
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](Context& c, py::args) { c.close(); })
      .def_property_readonly("closed", &Context::closed)
      .def("depth_to_point_cloud", [](py::object, py::args a, py::kwargs k) { return forward("depth_to_point_cloud", a, k); })
      .def("depth_to_coloured_cloud",
           [](py::object, py::args a, py::kwargs k) { return forward("depth_to_coloured_cloud", a, k); });

  m.def("_set_module_path", [](const std::string& path) { bakedModulePath() = path; });
  m.def("_close_all", [] {
    if (std::shared_ptr<ContextCore> core = openCore().lock()) {
      try {
        core->close();
      } catch (py::error_already_set&) {
        PyErr_Clear();
      }
    }
  });
  m.def("module_path", [] { return Runtime::instance().modulePath(); }, "the module file loaded, or ''");
  m.def("status_name", [](int32_t status) -> py::object {
    const char* name = sarvikStatusName(status);
    if (name == nullptr) return py::none();
    return py::str(name);
  });
}
