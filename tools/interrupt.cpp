#include "tools/interrupt.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "tools/monotonic_clock.h"

namespace sarvik {
namespace tools {

namespace {

volatile sig_atomic_t g_interrupted = 0;

// A terminal and `timeout` send SIGINT to the whole process group, so a
// user's second Ctrl-C must still end cleanly with the summary. Only a
// third one gives up on a program stuck in a module call.
void onSignal(int) {
  if (g_interrupted >= 2) {
    static const char kText[] = "sarvik: interrupted three times, giving up\n";
    (void)!write(2, kText, sizeof kText - 1);
    _exit(130);
  }
  g_interrupted = g_interrupted + 1;
}

}  // namespace

void installInterruptHandler() {
  struct sigaction action = {};
  action.sa_handler = onSignal;
  // Module and plug-in threads may take the signal; their calls must not fail for it.
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool interruptRequested() { return g_interrupted != 0; }

RunClock::RunClock(double seconds) : m_startUs(monotonicMicros()), m_endUs(0) {
  if (seconds > 0.0) m_endUs = m_startUs + static_cast<uint64_t>(seconds * 1e6);
}

bool RunClock::over() const {
  return interruptRequested() || (m_endUs != 0 && monotonicMicros() >= m_endUs);
}

uint32_t RunClock::remainingMs(uint32_t capMs) const {
  if (m_endUs == 0) return capMs;
  const uint64_t leftUs = m_endUs - std::min(m_endUs, monotonicMicros());
  return static_cast<uint32_t>(std::min<uint64_t>(capMs, (leftUs + 999) / 1000));
}

bool RunClock::tick(uint32_t ms) {
  if (over()) return false;
  std::this_thread::sleep_for(std::chrono::milliseconds(remainingMs(ms)));
  return !over();
}

double RunClock::elapsedSeconds() const { return static_cast<double>(monotonicMicros() - m_startUs) / 1e6; }

}  // namespace tools
}  // namespace sarvik
