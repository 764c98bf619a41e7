// Ctrl-C ends the long-running subcommands cleanly: they notice the request
// at their next tick and close streams and devices as on a normal end.
#ifndef SARVIK_TOOLS_INTERRUPT_H
#define SARVIK_TOOLS_INTERRUPT_H

#include <cstdint>

namespace sarvik {
namespace tools {

// Installs the SIGINT and SIGTERM handlers. The first and second signal
// end the run cleanly; a third ends the process at once with status 130.
void installInterruptHandler();
bool interruptRequested();

// A run of `seconds` (0: no limit) that ends early on Ctrl-C.
class RunClock {
 public:
  explicit RunClock(double seconds);
  // Sleeps up to `ms`, less if the run ends first. False once the run is over.
  bool tick(uint32_t ms);
  bool over() const;
  // `capMs`, or less if the run ends sooner.
  uint32_t remainingMs(uint32_t capMs) const;
  double elapsedSeconds() const;

 private:
  uint64_t m_startUs;
  uint64_t m_endUs;  // 0: until interrupted
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_INTERRUPT_H
