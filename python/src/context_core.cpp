#include "context_core.h"

#include <cstdlib>

#include "sarvik/SarvikCamera.h"
#include "sarvik/SarvikStatus.h"

namespace py = pybind11;

namespace sarvik_py {

void ContextCore::open(const std::string& bakedModulePath, const std::vector<std::string>& netServers) {
  Runtime& runtime = Runtime::instance();
  runtime.load(bakedModulePath);
  if (!netServers.empty()) {
    std::string joined;
    for (const std::string& server : netServers) joined += (joined.empty() ? "" : ",") + server;
    // Through os.environ, so that Python sees the same value the network
    // plug-in reads with getenv when the context initialises it.
    py::module_::import("os").attr("environ")[SARVIK_ENV_NET_SERVERS] = joined;
  }
  bool claimed = false;
  {
    py::gil_scoped_release nogil;
    std::unique_lock<std::shared_mutex> lock(runtime.life());
    if (!runtime.claimed()) {
      runtime.setClaimed(true);
      runtime.ensureCurrent();
      claimed = true;
    }
  }
  if (!claimed) throwError("a sarvik.Context is open already; the module has one context per process");
  m_open = true;
  int32_t status = call([](SarvikBaseContext* context) { return context->initialize(); });
  if (status == 0) {
    status = call([this](SarvikBaseContext* context) {
      return context->registerDeviceStateCallback(&ContextCore::onDeviceState, this);
    });
  }
  if (status != 0) {
    close();
    throwStatus(Op::kOther, status, "initialising the SDK");
  }
}

void ContextCore::close() {
  if (!m_open.load() || m_closing.exchange(true)) return;
  Runtime& runtime = Runtime::instance();
  int32_t status;
  {
    py::gil_scoped_release nogil;
    std::shared_lock<std::shared_mutex> lock(runtime.life());
    status = runtime.current()->shutdown();
  }
  // -1 is the refusal on a stream's own thread; -2 means it was never up.
  if (status == kStatusFailed) {
    m_closing = false;
    throwStatus(Op::kOther, status, "closing the context (not possible from a frame callback)");
  }
  {
    py::gil_scoped_release nogil;
    std::unique_lock<std::shared_mutex> lock(runtime.life());
    runtime.deleteCurrent();
    runtime.setClaimed(false);
  }
  m_open = false;
  m_deviceCallbacks = py::list();
}

void ContextCore::addDeviceCallback(py::object callback) { m_deviceCallbacks.append(std::move(callback)); }

void ContextCore::onDeviceState(const char* address, const char* serial, uint32_t state, void* user) {
  if (!Py_IsInitialized() || _Py_IsFinalizing()) return;
  auto* core = static_cast<ContextCore*>(user);
  py::gil_scoped_acquire gil;
  // A copy: a callback may register another one.
  py::list callbacks(core->m_deviceCallbacks);
  for (py::handle callback : callbacks) {
    try {
      callback(address != nullptr ? address : "", serial != nullptr ? serial : "", state != 1);
    } catch (py::error_already_set& error) {
      error.restore();
      logPendingCallbackError("a device-state callback");
    }
  }
}

}  // namespace sarvik_py
