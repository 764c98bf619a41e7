#include "stream.h"

#include <chrono>
#include <cmath>
#include <optional>
#include <thread>
#include <vector>

#include "sarvik/SarvikStatus.h"

namespace py = pybind11;
using Clock = std::chrono::steady_clock;

namespace sarvik_py {

namespace {

// Longest single wait in the module: Ctrl-C and a stop from another thread
// are noticed between slices.
constexpr uint32_t kSliceMs = 50;

// A deadline from a timeout in seconds; None waits without limit.
struct Deadline {
  bool unlimited = true;
  Clock::time_point end;

  static Deadline from(py::handle timeout) {
    Deadline deadline;
    if (timeout.is_none()) return deadline;
    if (!PyFloat_Check(timeout.ptr()) && !PyLong_Check(timeout.ptr())) {
      throw py::type_error("timeout must be None or a number of seconds");
    }
    const double seconds = py::cast<double>(timeout);
    if (!(seconds >= 0.0)) throw py::value_error("timeout must be None or a number of seconds >= 0");
    deadline.unlimited = false;
    const double capped = std::min(seconds, 1e7);  // a good deal beyond any real wait
    deadline.end = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(capped));
    return deadline;
  }
  uint32_t nextSlice() const {
    if (unlimited) return kSliceMs;
    // Rounded up, so that a wait never ends before its deadline.
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now()).count();
    if (left <= 0) return 0;
    const auto ms = (left + 999) / 1000;
    return ms < kSliceMs ? static_cast<uint32_t>(ms) : kSliceMs;
  }
  bool passed() const { return !unlimited && Clock::now() >= end; }
};

void checkSignals() {
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

}  // namespace

bool lockStreamUse(StreamCore& core) {
  for (;;) {
    if (core.stopping.load() || core.handle.load() == nullptr) return false;
    if (core.use.try_lock_shared()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

Stream::Stream(py::object device, std::shared_ptr<ContextCore> context, sarvik::Device* handle, uint32_t type,
               std::shared_ptr<SensorHold> hold)
    : m_device(std::move(device)), m_core(std::make_shared<StreamCore>()) {
  m_core->context = std::move(context);
  m_core->device = handle;
  m_core->type = type;
  m_core->hold = std::move(hold);
  m_core->callback = py::none();
  switch (type) {
    case SARVIK_STREAM_COLOR: m_core->name = "color"; break;
    case SARVIK_STREAM_DEPTH: m_core->name = "depth"; break;
    case SARVIK_STREAM_IR: m_core->name = "ir"; break;
    case SARVIK_STREAM_LIGHT_IR: m_core->name = "light ir"; break;
    default: m_core->name = "type " + std::to_string(type); break;
  }
}

Stream::~Stream() {
  stopQuietly();
  // Dropped on its own callback thread, where the module refuses to stop it:
  // the module still calls back with the core, so the core must outlive us.
  if (started()) keepUntilExit(m_core);
}

void Stream::start() {
  if (started()) return;
  StreamCore& core = *m_core;
  const bool withCallback = !core.callback.is_none();
  int32_t status;
  {
    py::gil_scoped_release nogil;
    std::unique_lock<std::shared_mutex> lock(core.use);
    sarvik::VideoStream* handle = nullptr;
    status = core.context->callWithoutGil([&](SarvikBaseContext* context) {
      return context->openStream(core.device, core.type, &handle, withCallback ? &Stream::onFrameThread : nullptr,
                                 &core);
    });
    if (status == 0) core.handle = handle;
  }
  ContextCore::check(Op::kOpenStream, status, "starting the " + core.name + " stream");
}

int32_t closeStreamCore(StreamCore& core) {
  sarvik::VideoStream* handle = core.handle.load();
  if (handle == nullptr) return 0;
  core.stopping = true;
  int32_t status;
  {
    py::gil_scoped_release nogil;
    std::unique_lock<std::shared_mutex> lock(core.use);
    status = core.context->callWithoutGil([&](SarvikBaseContext* context) { return context->closeStream(handle); });
    // A closed context took its streams with it.
    if (status == 0 || status == kContextClosed) core.handle = nullptr;
  }
  core.stopping = false;
  return status;
}

void Stream::stop() {
  const int32_t status = closeStreamCore(*m_core);
  if (status == kContextClosed) return;
  ContextCore::check(Op::kStream, status, "stopping the " + m_core->name + " stream");
}

void Stream::stopQuietly() {
  if (!started()) return;
  try {
    stop();
  } catch (py::error_already_set&) {
    PyErr_Clear();
  }
}

Frame Stream::read(py::object timeout) {
  bool ended = false;
  std::optional<Frame> frame = readOrEnd(timeout, &ended);
  if (ended) throwError("the " + m_core->name + " stream is not started");
  return std::move(*frame);
}

std::optional<Frame> Stream::readOrEnd(py::object timeout, bool* ended) {
  const Deadline deadline = Deadline::from(timeout);
  StreamCore& core = *m_core;
  for (;;) {
    typedefSarvikFrame* record = nullptr;
    const uint32_t slice = deadline.nextSlice();
    int32_t status;
    {
      py::gil_scoped_release nogil;
      status = withHandle([&](SarvikBaseContext* context, sarvik::VideoStream* handle) {
        // The first look takes a queued frame at once. The wait does not hold
        // the module's read lock, so reads of other streams go on meanwhile.
        int32_t result = context->readFrame(handle, &record, 0);
        if (result != kStatusTimeout || slice == 0) return result;
        result = context->waitForStreams(&handle, 1, nullptr, static_cast<int32_t>(slice));
        if (result != 0 && result != kStatusTimeout) return result;
        return context->readFrame(handle, &record, 0);
      });
    }
    if (status == 0 && record != nullptr) {
      return Frame::make(record, core.hold, core.context->heldLimit(), &core.copies);
    }
    if (status == kStreamNotStarted) {
      *ended = true;
      return std::nullopt;
    }
    if (status == kStatusTimeout || status == 0) {
      if (deadline.passed() || slice == 0) throwStatus(Op::kReadFrame, kStatusTimeout, "reading the " + core.name + " stream");
      checkSignals();
      continue;
    }
    ContextCore::check(Op::kReadFrame, status, "reading the " + core.name + " stream");
  }
}

void Stream::onFrame(py::object callback) {
  if (!callback.is_none() && !PyCallable_Check(callback.ptr())) throw py::type_error("on_frame needs a callable or None");
  StreamCore& core = *m_core;
  if (started()) {
    if (callback.is_none() || core.callback.is_none()) {
      throwError("stop the " + core.name + " stream before adding or removing its callback");
    }
  }
  core.callback = std::move(callback);
}

void Stream::onFrameThread(sarvik::VideoStream*, typedefSarvikFrame* record, void* user) {
  if (record == nullptr) return;
  auto* core = static_cast<StreamCore*>(user);
  if (!Py_IsInitialized() || _Py_IsFinalizing()) {
    releaseRecord(record);
    return;
  }
  py::gil_scoped_acquire gil;
  core->callbackFrames.fetch_add(1, std::memory_order_relaxed);
  py::object callback = core->callback;
  if (callback.is_none()) {
    releaseRecord(record);
    return;
  }
  try {
    py::object frame = py::cast(Frame::make(record, core->hold, core->context->heldLimit(), &core->copies));
    callback(frame);
  } catch (py::error_already_set& error) {
    core->callbackErrors.fetch_add(1, std::memory_order_relaxed);
    error.restore();
    logPendingCallbackError(("the frame callback of the " + core->name + " stream").c_str());
  } catch (const std::exception& error) {
    core->callbackErrors.fetch_add(1, std::memory_order_relaxed);
    PyErr_SetString(PyExc_RuntimeError, error.what());
    logPendingCallbackError(("the frame callback of the " + core->name + " stream").c_str());
  }
}

py::object waitAny(py::list list, py::object timeout) {
  const Deadline deadline = Deadline::from(timeout);
  std::vector<Stream*> streams;
  std::vector<py::object> keep;
  for (py::handle item : list) {
    if (!py::isinstance<Stream>(item)) throw py::type_error("wait_any takes a list of sarvik.Stream");
    streams.push_back(py::cast<Stream*>(item));
    keep.push_back(py::reinterpret_borrow<py::object>(item));
  }
  if (streams.empty()) throw py::value_error("wait_any needs at least one stream");
  const std::shared_ptr<ContextCore> context = streams[0]->core()->context;
  for (Stream* stream : streams) {
    if (stream->core()->context != context) throw py::value_error("wait_any: streams of different contexts");
  }
  for (;;) {
    const uint32_t slice = deadline.nextSlice();
    sarvik::VideoStream* ready = nullptr;
    int32_t status = 0;
    std::string notStarted;
    {
      py::gil_scoped_release nogil;
      std::vector<sarvik::VideoStream*> handles;
      size_t locked = 0;
      for (; locked < streams.size(); ++locked) {
        if (!lockStreamUse(*streams[locked]->core())) break;
        handles.push_back(streams[locked]->core()->handle.load());
      }
      if (locked < streams.size() || std::find(handles.begin(), handles.end(), nullptr) != handles.end()) {
        status = kStreamNotStarted;
        notStarted = streams[std::min(locked, streams.size() - 1)]->core()->name;
      } else {
        status = context->callWithoutGil([&](SarvikBaseContext* c) {
          return c->waitForStreams(handles.data(), static_cast<int32_t>(handles.size()), &ready,
                                   static_cast<int32_t>(slice));
        });
      }
      for (size_t i = 0; i < locked; ++i) streams[i]->core()->use.unlock_shared();
    }
    if (status == 0) {
      for (size_t i = 0; i < streams.size(); ++i) {
        if (streams[i]->core()->handle.load() == ready) return keep[i];
      }
      return keep[0];
    }
    if (status == kStreamNotStarted) throwError("wait_any: the " + notStarted + " stream is not started");
    if (status != kStatusTimeout) ContextCore::check(Op::kWait, status, "waiting for streams");
    if (deadline.passed() || slice == 0) return py::none();
    checkSignals();
  }
}

void bindStream(py::module_& m) {
  py::class_<Stream>(m, "Stream", "One stream of a device; Device.stream(sensor) makes it.")
      .def("start", &Stream::start, "Open the stream in the module; frames flow from now on")
      .def("stop", &Stream::stop, "Close the stream; frames already taken stay valid")
      .def("read", &Stream::read, py::arg("timeout") = py::none(),
           "The next frame. Waits up to timeout seconds (None: no limit); raises sarvik.Timeout")
      .def("on_frame", &Stream::onFrame, py::arg("callback"),
           "Call callback(frame) on the stream's own thread for every frame, from the next start() "
           "(or at once if it runs with a callback already). A stream with a callback is not read.")
      .def("__iter__", [](py::object self) { return self; })
      .def("__next__",
           [](Stream& s) {
             // Ends when the stream is stopped, here or on another thread.
             bool ended = false;
             std::optional<Frame> frame = s.readOrEnd(py::none(), &ended);
             if (ended) throw py::stop_iteration();
             return std::move(*frame);
           })
      .def("__enter__", [](Stream& s) { s.start(); return &s; }, py::return_value_policy::reference)
      .def("__exit__", [](Stream& s, py::args) { s.stop(); })
      .def_property_readonly("started", &Stream::started)
      .def_property_readonly("type", [](const Stream& s) { return s.core()->type; })
      .def_property_readonly("name", [](const Stream& s) { return s.core()->name; })
      .def_property_readonly("device", &Stream::device)
      .def_property_readonly("frames_copied", [](const Stream& s) { return s.core()->copies.load(); })
      .def_property_readonly("frames_held", [](const Stream& s) { return s.core()->hold->held.load(); },
                             "module frames Python holds from this stream's sensor")
      .def_property_readonly("callback_frames", [](const Stream& s) { return s.core()->callbackFrames.load(); })
      .def_property_readonly("callback_errors", [](const Stream& s) { return s.core()->callbackErrors.load(); })
      .def_property_readonly("_handle", [](const Stream& s) {
        return reinterpret_cast<uintptr_t>(s.core()->handle.load());
      })
      .def("__repr__", [](const Stream& s) {
        return "<sarvik.Stream " + s.core()->name + (s.started() ? " started>" : " stopped>");
      });
  m.def("wait_any", &waitAny, py::arg("streams"), py::arg("timeout") = py::none(),
        "The first of the started streams that gets a new frame within timeout seconds, or None");
}

}  // namespace sarvik_py
