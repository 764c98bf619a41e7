// The simulated cameras' hand-made hot-plug: the schedule of the
// configuration and the control file. Both are driven by poll(), which the
// host calls on its event thread; neither has a thread of its own.
#ifndef SIMCAM_SIM_HOTPLUG_H
#define SIMCAM_SIM_HOTPLUG_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "sim_config.h"

namespace simcam {

class SimHotplug {
 public:
  // Carries out "plug"/"unplug" of one address; the callee posts the event.
  using Apply = std::function<void(const std::string& uri, bool plug)>;

  // Steps count from now. controlPath empty: no control file. Content the
  // control file already has is not replayed.
  void start(std::vector<SimHotplugStep> schedule, const std::string& controlPath, Apply apply);
  // Runs the steps that are due and reads what was appended to the control
  // file. Called from one thread at a time.
  void poll();

 private:
  void pollControlFile();
  void markControlFileRead();

  std::vector<SimHotplugStep> m_schedule;
  size_t m_nextStep = 0;
  std::chrono::steady_clock::time_point m_base;
  Apply m_apply;
  std::string m_controlPath;
  ino_t m_controlInode = 0;
  off_t m_controlOffset = 0;
};

}  // namespace simcam

#endif  // SIMCAM_SIM_HOTPLUG_H
