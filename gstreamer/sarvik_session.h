// The one SDK context of the process, shared by every sarviksrc element, and
// the cameras those elements have opened.
//
// The module hands out one context per process and refuses a second
// openDevice of an open address, while closeDevice ends every stream of the
// device. So elements never open or close cameras themselves: they borrow a
// SharedCamera here, and the camera is closed when the last borrower (element
// or frame still out in a pipeline) lets go. The context is initialised by the
// first borrower and shut down when the last reference to the session goes.
//
// Thread safety: every function may be called from any thread. Two locks:
// m_lock (registry; held across openDevice and closeDevice so that two
// elements never race to open one address) and m_watchLock (a leaf: the
// device-state callback takes only it and never calls the module).
#ifndef SARVIK_GST_SESSION_H
#define SARVIK_GST_SESSION_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sarvik/SarvikBaseContext.h"

namespace sarvik_gst {

class Session;

// One opened camera, shared by every element that streams from it.
class SharedCamera {
 public:
  SharedCamera(std::shared_ptr<Session> session, std::string address, sarvik::Device* device);
  ~SharedCamera();  // closes the device
  SharedCamera(const SharedCamera&) = delete;
  SharedCamera& operator=(const SharedCamera&) = delete;

  SarvikBaseContext* context() const;
  sarvik::Device* device() const { return m_device; }
  const std::string& address() const { return m_address; }
  const std::shared_ptr<Session>& session() const { return m_session; }
  // True once the camera was reported gone (unplugged, server lost, file ended).
  bool gone() const { return m_gone.load(std::memory_order_acquire); }

  // Elements streaming from a sensor: the frame budget of the sensor's pool
  // is split between them (see frame_ledger.h).
  int addStreamer(uint32_t sensorType);
  void removeStreamer(uint32_t sensorType);
  int streamers(uint32_t sensorType) const;

  // Called (with no lock of the module held) when the camera goes away.
  using GoneWatcher = std::function<void()>;
  int watch(GoneWatcher watcher);  // an id for unwatch
  void unwatch(int id);

 private:
  friend class Session;
  void markGone();

  std::shared_ptr<Session> m_session;
  std::string m_address;
  sarvik::Device* m_device;
  std::atomic<bool> m_gone{false};
  mutable std::mutex m_lock;  // leaf: guards the two maps below
  std::map<uint32_t, int> m_streamers;
  std::map<int, GoneWatcher> m_watchers;
  int m_nextWatch = 1;
};

class Session : public std::enable_shared_from_this<Session> {
 public:
  // The process's session, made (module loaded, context initialised) on first
  // use. Null with *error saying why the module could not be loaded or
  // initialised.
  static std::shared_ptr<Session> acquire(std::string* error);

  ~Session();  // shuts the context down and deletes it
  SarvikBaseContext* context() const { return m_context; }

  // The camera `selector` names (address, serial, index; empty: the first),
  // opened, or the one already open for that address. Null with *error.
  std::shared_ptr<SharedCamera> openCamera(const std::string& selector, std::string* error);

 private:
  Session() = default;
  bool start(std::string* error);
  // The deleter of the shared session: tears it down under the process lock.
  static void destroy(Session* session);
  void forget(const std::string& address, sarvik::Device* device);
  static void onDeviceState(const char* address, const char* serial, uint32_t state, void* user);

  friend class SharedCamera;
  SarvikBaseContext* m_context = nullptr;
  DeleteContextFn m_deleteContext = nullptr;
  std::mutex m_lock;  // guards m_cameras; held across openDevice/closeDevice
  std::map<std::string, std::weak_ptr<SharedCamera>> m_cameras;
  // Leaf: guards m_live, which the device-state callback reads. Plain
  // pointers: a camera removes itself here before it closes, so the callback
  // never owns a camera and never ends up closing one on the plug-in's thread.
  std::mutex m_watchLock;
  std::map<std::string, SharedCamera*> m_live;
};

}  // namespace sarvik_gst

#endif  // SARVIK_GST_SESSION_H
