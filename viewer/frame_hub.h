// The newest message of each kind, handed from the stream readers to every
// connected page. Newest wins: a page that falls behind skips messages
// instead of queueing them, so one slow browser never holds up a camera or
// another browser. Thread-safe.
#ifndef SARVIK_VIEWER_FRAME_HUB_H
#define SARVIK_VIEWER_FRAME_HUB_H

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "message_pool.h"

namespace sarvik_viewer {

// Slot of a kind: colour, depth, ir, light ir, cloud; -1 for anything else.
int hubSlot(uint32_t kind);
constexpr int kHubSlots = 5;

class FrameHub {
 public:
  using Versions = std::array<uint64_t, kHubSlots>;

  void publish(uint32_t kind, MessageRef message);
  // Waits up to timeoutMs for a message newer than seen[] in one of the
  // slots of `wanted` (bit per slot), or for a poke newer than *pokes;
  // appends the new messages to *out and updates seen[] and *pokes. False
  // once closed.
  bool waitNewer(unsigned wanted, Versions* seen, std::vector<MessageRef>* out, int timeoutMs,
                 uint64_t* pokes = nullptr);
  // Wakes every waiter once, e.g. because a page can take more now.
  void poke();
  // The newest message of a kind, empty if none.
  MessageRef latest(uint32_t kind);
  // Forgets the messages of a kind (its stream stopped).
  void clear(uint32_t kind);
  // Wakes every waiter for good.
  void close();

  // Pages that asked for the point cloud; the depth reader makes clouds only
  // while some page watches.
  void addCloudWatcher(int delta);
  bool cloudWatched() const;

 private:
  mutable std::mutex m_lock;
  std::condition_variable m_changed;
  std::array<MessageRef, kHubSlots> m_latest;  // guarded by m_lock
  Versions m_versions{};                       // guarded by m_lock
  bool m_closed = false;                       // guarded by m_lock
  uint64_t m_pokes = 0;                        // guarded by m_lock
  int m_cloudWatchers = 0;                     // guarded by m_lock
};

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_FRAME_HUB_H
