// The plug-in's event thread. Device-state events reach the module from this
// one thread, in the order they were posted and with no lock of the plug-in
// held, because the module enumerates every plug-in from inside the callback.
// Between events it gives each back end its poll.
#ifndef SARVIK_HOST_EVENTS_H
#define SARVIK_HOST_EVENTS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "host_backend.h"

namespace sarvikhost {

class EventThread final : public HostEvents {
 public:
  static constexpr std::chrono::milliseconds kPollInterval{100};

  explicit EventThread(std::string pluginName) : m_pluginName(std::move(pluginName)) {}
  ~EventThread();  // stop()
  EventThread(const EventThread&) = delete;
  EventThread& operator=(const EventThread&) = delete;

  void setCallback(DriverStateCallback callback, void* user);
  // Starts the thread once; `poll` runs on it every kPollInterval.
  void start(std::function<void()> poll);
  // Joins the thread; events not yet delivered are dropped.
  void stop();

  void post(const std::string& uri, const std::string& serial, const std::string& location,
            uint32_t state) override;
  void log(const std::string& text) override;

 private:
  struct Event {
    std::string uri;
    std::string serial;
    std::string location;
    uint32_t state;
  };

  void run();

  const std::string m_pluginName;
  std::mutex m_lock;
  std::condition_variable m_wake;
  std::deque<Event> m_pending;         // guarded by m_lock
  DriverStateCallback m_callback = nullptr;  // guarded by m_lock
  void* m_user = nullptr;                    // guarded by m_lock
  std::function<void()> m_poll;              // set before the thread starts
  bool m_stop = false;                       // guarded by m_lock
  bool m_started = false;                    // guarded by m_lock
  std::thread m_thread;
};

}  // namespace sarvikhost

#endif  // SARVIK_HOST_EVENTS_H
