// Signalling between threads. Every event of the module is unnamed, auto-reset
// and starts not signalled; there is no other kind.
#ifndef SARVIK_PLATFORM_EVENT_WRAPPER_H
#define SARVIK_PLATFORM_EVENT_WRAPPER_H

#include <cstdint>

namespace sarvik {

// Results of wait(). Callers read them thus: kEventTimeout means nothing came
// and they may look again, kEventSignaled that a set() was consumed, anything
// else is a failure. -11 is also the timed-out status the module hands out.
constexpr int32_t kEventSignaled = 0;
constexpr int32_t kEventTimeout = -11;
constexpr int32_t kEventError = -1;

// Time-out argument that makes wait() block until set().
constexpr uint32_t kEventInfinite = 0xFFFFFFFFu;

// Auto-reset event:
//  1. set() with a thread in wait() releases exactly one waiter, and the event
//     is not signalled afterwards;
//  2. set() with nobody waiting leaves the event signalled; the next wait()
//     returns 0 at once and clears it, so a signal is never lost to a late wait;
//  3. events carry no count: several set()s before a wait() count as one;
//  4. reset() clears a pending signal.
// wait(0) only looks and returns 0 or -11 at once. wait() returns 0 only for a
// real set(), never for a spurious wake-up.
// Any thread may call any operation at any time while the owner keeps the
// event alive. reset() and set() give 0, or -1 on failure.
class EventWrapper {
 public:
  virtual ~EventWrapper() {}
  virtual int32_t reset() = 0;
  virtual int32_t set() = 0;
  virtual int32_t wait(uint32_t ms) = 0;
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_EVENT_WRAPPER_H
