// One stream of a device. start() opens it in the module, stop() closes it;
// frames come by read(), by iteration or by a callback set with on_frame().
//
// Blocking calls (start, stop, read, wait_any) run with the GIL released.
// Waits run in slices of at most 50 ms, checking for Ctrl-C and for a stop
// from another thread between slices, so neither hangs.
#ifndef SARVIK_PYTHON_STREAM_H
#define SARVIK_PYTHON_STREAM_H

#include <pybind11/pybind11.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>

#include "context_core.h"
#include "frame.h"
#include "sarvik/SarvikTypes.h"

namespace sarvik_py {

// What the callback thread needs; lives as long as the Stream object.
struct StreamCore {
  std::shared_ptr<ContextCore> context;
  sarvik::Device* device = nullptr;
  uint32_t type = 0;
  std::string name;
  std::shared_ptr<SensorHold> hold;
  std::atomic<sarvik::VideoStream*> handle{nullptr};
  // Shared by every call that uses `handle`; exclusive while it is closed,
  // so no call runs on a handle the module has deleted.
  std::shared_mutex use;
  std::atomic<bool> stopping{false};
  pybind11::object callback;  // GUARDED_BY(GIL)
  std::atomic<uint64_t> copies{0};
  std::atomic<uint64_t> callbackFrames{0};
  std::atomic<uint64_t> callbackErrors{0};
};

// Status of a call on a stream that is not started (or being stopped).
constexpr int32_t kStreamNotStarted = INT32_MIN + 1;

// Takes `use` shared without blocking behind a stop: a stop holds it
// exclusively while the module joins the callback thread, and the caller may
// be on that thread. False when the stream is not started or is stopping.
bool lockStreamUse(StreamCore& core);

// Runs f(context, handle) while the handle is held in use; kStreamNotStarted
// when there is none. REQUIRES: the GIL is not held.
template <class F>
int32_t withStreamHandle(StreamCore& core, F&& f) {
  if (!lockStreamUse(core)) return kStreamNotStarted;
  std::shared_lock<std::shared_mutex> lock(core.use, std::adopt_lock);
  sarvik::VideoStream* handle = core.handle.load();
  if (handle == nullptr) return kStreamNotStarted;
  return core.context->callWithoutGil([&](SarvikBaseContext* context) { return f(context, handle); });
}

class Stream {
 public:
  Stream(pybind11::object device, std::shared_ptr<ContextCore> context, sarvik::Device* handle,
         uint32_t type, std::shared_ptr<SensorHold> hold);
  ~Stream();
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  void start();
  void stop();
  // Quiet stop for teardown: no exception, nothing if the context is gone.
  void stopQuietly();
  bool started() const { return m_core->handle.load() != nullptr; }
  Frame read(pybind11::object timeout);
  // As read(), but a stream that is not started (or stops meanwhile) gives
  // nothing and sets *ended instead of raising.
  std::optional<Frame> readOrEnd(pybind11::object timeout, bool* ended);
  void onFrame(pybind11::object callback);

  // Runs f(context, handle) with the GIL released while the handle is in use;
  // kStreamNotStarted when there is none. REQUIRES: the GIL is not held.
  template <class F>
  int32_t withHandle(F&& f) {
    return withStreamHandle(*m_core, f);
  }

  const std::shared_ptr<StreamCore>& core() const { return m_core; }
  pybind11::object device() const { return m_device; }

 private:
  static void onFrameThread(sarvik::VideoStream* stream, typedefSarvikFrame* frame, void* user);

  pybind11::object m_device;  // keeps the Device, and through it the Context, alive
  std::shared_ptr<StreamCore> m_core;
};

// Closes the stream in the module if it is open: closeStream's status, 0 when
// it was not open, kContextClosed when the context took it already.
// REQUIRES: the GIL is held (it is released inside).
int32_t closeStreamCore(StreamCore& core);

// sarvik.wait_any(streams, timeout): the first stream of the list that gets a
// new frame within timeout seconds (None: no limit), or None.
pybind11::object waitAny(pybind11::list streams, pybind11::object timeout);

void bindStream(pybind11::module_& m);

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_STREAM_H
