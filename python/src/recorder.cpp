#include "recorder.h"

#include "stream.h"

namespace py = pybind11;

namespace sarvik_py {

Recorder::Recorder(py::object context, std::shared_ptr<ContextCore> core, const std::string& path, py::list streams)
    : m_context(std::move(context)), m_core(std::move(core)), m_path(path) {
  if (path.find('\0') != std::string::npos) throw py::value_error("a path with a NUL character");
  std::vector<Stream*> list;
  for (py::handle item : streams) {
    if (!py::isinstance<Stream>(item)) throw py::type_error("record takes a list of sarvik.Stream");
    list.push_back(py::cast<Stream*>(item));
  }
  if (list.empty()) throw py::value_error("record needs at least one stream");
  sarvik::StreamRecorder* handle = nullptr;
  int32_t status = m_core->call([&](SarvikBaseContext* c) { return c->createRecorder(m_path.c_str(), &handle); });
  ContextCore::check(Op::kOther, status, "creating the recorder for " + m_path);
  m_handle = handle;
  for (Stream* stream : list) {
    {
      py::gil_scoped_release nogil;
      status = stream->withHandle([&](SarvikBaseContext* c, sarvik::VideoStream* s) {
        return c->attachStreamToRecorder(handle, s);
      });
    }
    if (status == kStreamNotStarted) {
      close();
      throwError("record: the " + stream->core()->name + " stream is not started");
    }
    if (status != 0) {
      close();
      ContextCore::check(Op::kRecorder, status, "attaching the " + stream->core()->name + " stream");
    }
  }
  status = m_core->call([&](SarvikBaseContext* c) { return c->startRecorder(handle); });
  if (status != 0) {
    close();
    ContextCore::check(Op::kRecorder, status, "starting the recorder");
  }
  m_started = true;
}

Recorder::~Recorder() {
  try {
    close();
  } catch (py::error_already_set&) {
    PyErr_Clear();
  }
}

void Recorder::stop() {
  if (m_handle == nullptr || !m_started) return;
  sarvik::StreamRecorder* handle = m_handle;
  const int32_t status = m_core->call([&](SarvikBaseContext* c) { return c->stopRecorder(handle); });
  m_started = false;
  if (status == kContextClosed) return;
  ContextCore::check(Op::kRecorder, status, "stopping the recorder");
}

void Recorder::close() {
  if (m_handle == nullptr) return;
  stop();
  sarvik::StreamRecorder* handle = m_handle;
  m_handle = nullptr;
  const int32_t status = m_core->call([&](SarvikBaseContext* c) { return c->destroyRecorder(handle); });
  if (status == kContextClosed) return;
  ContextCore::check(Op::kRecorder, status, "closing the recorder");
}

void bindRecorder(py::module_& m) {
  py::class_<Recorder>(m, "Recorder", "Writes the frames of streams to a record file; Context.record() makes one")
      .def("stop", &Recorder::stop)
      .def("close", &Recorder::close)
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](Recorder& r, py::args) { r.close(); })
      .def_property_readonly("closed", &Recorder::closed)
      .def_property_readonly("path", &Recorder::path)
      .def("__repr__", [](const Recorder& r) { return "<sarvik.Recorder " + r.path() + ">"; });
}

}  // namespace sarvik_py
