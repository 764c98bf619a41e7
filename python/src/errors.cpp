#include "errors.h"

#include <pybind11/pybind11.h>

#include <cstdio>

#include "sarvik/SarvikStatus.h"

namespace py = pybind11;

namespace sarvik_py {

uint32_t documentedLastError(Op op, int32_t status) {
  switch (status) {
    case kStatusNotInitialized: return 0x80300101;
    case kStatusInvalidDevice: return 0x80300102;
    case kStatusInvalidHandle: return op == Op::kRecorder ? 0 : 0x80300105;
    case kStatusBadArgument:
      if (op == Op::kOpenDevice) return 0x80300208;
      return op == Op::kWait ? 0x80300206 : 0;
    case kStatusListFull: return op == Op::kOpenStream ? 0x80300106 : 0;
    case kStatusTimeout: return op == Op::kReadFrame ? 0x80300107 : 0;
    case kStatusFailed: return op == Op::kOpenStream ? 0x8030059c : 0;
    default: return 0;
  }
}

namespace {

py::object errorClass(const char* name) {
  return py::module_::import("sarvik._errors").attr(name);
}

[[noreturn]] void raise(const char* className, const std::string& message, py::object status,
                        uint32_t lastError, py::object statusName) {
  py::object cls = errorClass(className);
  py::object error = cls(message, status, lastError, statusName);
  PyErr_SetObject(cls.ptr(), error.ptr());
  throw py::error_already_set();
}

}  // namespace

void throwStatus(Op op, int32_t status, const std::string& what) {
  const char* name = sarvikStatusName(status);
  char text[64];
  std::snprintf(text, sizeof text, " (status %d)", static_cast<int>(status));
  const std::string message = what + ": " + (name != nullptr ? name : "failed") + text;
  raise(status == kStatusTimeout ? "Timeout" : "Error", message, py::int_(status),
        documentedLastError(op, status), name != nullptr ? py::object(py::str(name)) : py::none());
}

void throwError(const std::string& message) { raise("Error", message, py::none(), 0, py::none()); }

void logPendingCallbackError(const char* where) {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* trace = nullptr;
  PyErr_Fetch(&type, &value, &trace);
  PyErr_NormalizeException(&type, &value, &trace);
  py::object excType = py::reinterpret_steal<py::object>(type != nullptr ? type : Py_NewRef(Py_None));
  py::object excValue = py::reinterpret_steal<py::object>(value != nullptr ? value : Py_NewRef(Py_None));
  py::object excTrace = py::reinterpret_steal<py::object>(trace != nullptr ? trace : Py_NewRef(Py_None));
  try {
    py::object logger = py::module_::import("logging").attr("getLogger")("sarvik");
    logger.attr("error")("exception in %s", where, py::arg("exc_info") = py::make_tuple(excType, excValue, excTrace));
  } catch (py::error_already_set&) {
    // Logging itself failed (e.g. during interpreter shutdown); say it the plain way.
    PyErr_Clear();
    std::fprintf(stderr, "sarvik: exception in %s\n", where);
  }
}

}  // namespace sarvik_py
