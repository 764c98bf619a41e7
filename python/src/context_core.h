// What every Python object of one sarvik.Context shares: whether the context
// is open, and the gate through which each call reaches the module.
#ifndef SARVIK_PYTHON_CONTEXT_CORE_H
#define SARVIK_PYTHON_CONTEXT_CORE_H

#include <pybind11/pybind11.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "errors.h"
#include "runtime.h"

namespace sarvik_py {

// Keeps `object` alive until the process ends. For an object the module still
// points at when its Python owner goes away on a thread where the module
// refuses to let go of it (a frame callback's own thread).
template <class T>
void keepUntilExit(std::shared_ptr<T> object) {
  static std::mutex lock;
  static auto* kept = new std::vector<std::shared_ptr<void>>();
  std::lock_guard<std::mutex> guard(lock);
  kept->push_back(std::move(object));
}

class ContextCore {
 public:
  explicit ContextCore(int32_t heldLimit) : m_heldLimit(heldLimit) {}

  // Claims the module's context and initialises it. Needs the GIL; raises.
  void open(const std::string& bakedModulePath, const std::vector<std::string>& netServers);
  // Shuts the context down and deletes it. Needs the GIL; raises if the module
  // refuses (called from a frame callback). A second close does nothing.
  void close();
  bool isOpen() const { return m_open.load() && !m_closing.load(); }

  // Runs f(context) with the GIL released and the context kept alive; gives
  // kContextClosed without calling f once the context is closed or closing.
  // REQUIRES: the GIL is held.
  template <class F>
  int32_t call(F&& f) {
    pybind11::gil_scoped_release nogil;
    return callWithoutGil(f);
  }
  // As call(), for a thread that does not hold the GIL.
  template <class F>
  int32_t callWithoutGil(F&& f) {
    Runtime& runtime = Runtime::instance();
    std::shared_lock<std::shared_mutex> lock(runtime.life());
    if (!m_open.load() || m_closing.load() || runtime.current() == nullptr) return kContextClosed;
    return f(runtime.current());
  }

  // Raises for a failed status; kContextClosed gets its own message.
  static void check(Op op, int32_t status, const std::string& what) {
    if (status == kContextClosed) throwError(what + ": the context is closed");
    if (status != 0) throwStatus(op, status, what);
  }

  int32_t heldLimit() const { return m_heldLimit; }

  // Device-state callbacks, called on the plug-in's thread with the GIL taken.
  void addDeviceCallback(pybind11::object callback);  // GIL held

 private:
  static void onDeviceState(const char* address, const char* serial, uint32_t state, void* user);

  const int32_t m_heldLimit;
  std::atomic<bool> m_open{false};
  std::atomic<bool> m_closing{false};
  pybind11::list m_deviceCallbacks;  // GUARDED_BY(GIL)
};

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_CONTEXT_CORE_H
