// The plug-in's event thread: it raises DriverStateCallback for every change
// of a camera's presence, runs the hot-plug schedule of the configuration and
// follows the control file. Callbacks come from this thread alone and with no
// lock of the plug-in held, because the host enumerates every plug-in from
// inside them.
#ifndef SIMCAM_SIM_EVENT_THREAD_H
#define SIMCAM_SIM_EVENT_THREAD_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sarvik/SarvikDriver.h"
#include "sim_config.h"

namespace simcam {

class SimEventThread {
 public:
  // Carries out "plug"/"unplug" of one address on the event thread; the
  // callee posts the event itself if the state changed.
  using Apply = std::function<void(const std::string& uri, bool plug)>;

  static constexpr std::chrono::milliseconds kPollInterval{100};

  SimEventThread() = default;
  ~SimEventThread();  // stop()
  SimEventThread(const SimEventThread&) = delete;
  SimEventThread& operator=(const SimEventThread&) = delete;

  void setCallback(DriverStateCallback callback, void* user);
  // Starts the thread once; later calls do nothing. Steps count from now.
  // controlPath empty: no control file. Content the control file already has
  // is not replayed.
  void start(std::vector<SimHotplugStep> schedule, const std::string& controlPath, Apply apply);
  // Joins the thread; events not yet delivered are dropped.
  void stop();
  // Queues one event for the thread. Never calls the callback itself.
  void post(const std::string& uri, const std::string& serial, const std::string& location, uint32_t state);

 private:
  struct Event {
    std::string uri;
    std::string serial;
    std::string location;
    uint32_t state;
  };

  void run();
  void runDueSteps(std::unique_lock<std::mutex>& lock);
  void deliverPending(std::unique_lock<std::mutex>& lock);
  void pollControlFile();
  void markControlFileRead();

  std::mutex m_lock;  // a leaf: nothing is called while it is held
  std::condition_variable m_wake;
  bool m_started = false;  // guarded by m_lock
  bool m_stop = false;     // guarded by m_lock
  DriverStateCallback m_callback = nullptr;  // guarded by m_lock
  void* m_user = nullptr;                    // guarded by m_lock
  std::deque<Event> m_pending;               // guarded by m_lock
  std::thread m_thread;

  // Set by start before the thread runs, then the thread's alone.
  std::vector<SimHotplugStep> m_schedule;
  size_t m_nextStep = 0;
  std::chrono::steady_clock::time_point m_base;
  Apply m_apply;
  std::string m_controlPath;
  ino_t m_controlInode = 0;
  off_t m_controlOffset = 0;
};

}  // namespace simcam

#endif  // SIMCAM_SIM_EVENT_THREAD_H
