#include "frame_hub.h"

#include <chrono>

#include "frame_message.h"
#include "sarvik/SarvikTypes.h"

namespace sarvik_viewer {

int hubSlot(uint32_t kind) {
  switch (kind) {
    case SARVIK_STREAM_COLOR: return 0;
    case SARVIK_STREAM_DEPTH: return 1;
    case SARVIK_STREAM_IR: return 2;
    case SARVIK_STREAM_LIGHT_IR: return 3;
    case kKindCloud: return 4;
    default: return -1;
  }
}

void FrameHub::publish(uint32_t kind, MessageRef message) {
  const int slot = hubSlot(kind);
  if (slot < 0) return;
  MessageRef old;
  {
    std::lock_guard<std::mutex> guard(m_lock);
    old = std::move(m_latest[slot]);
    m_latest[slot] = std::move(message);
    ++m_versions[slot];
  }
  m_changed.notify_all();
  // `old` goes back to its pool here, outside the lock.
}

bool FrameHub::waitNewer(unsigned wanted, Versions* seen, std::vector<MessageRef>* out, int timeoutMs,
                         uint64_t* pokes) {
  std::unique_lock<std::mutex> guard(m_lock);
  auto fresh = [&] {
    for (int slot = 0; slot < kHubSlots; ++slot) {
      if ((wanted & (1u << slot)) != 0 && m_versions[slot] != (*seen)[slot] && m_latest[slot]) return true;
    }
    return false;
  };
  m_changed.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                     [&] { return m_closed || fresh() || (pokes != nullptr && *pokes != m_pokes); });
  if (m_closed) return false;
  if (pokes != nullptr) *pokes = m_pokes;
  for (int slot = 0; slot < kHubSlots; ++slot) {
    if ((wanted & (1u << slot)) == 0 || m_versions[slot] == (*seen)[slot]) continue;
    (*seen)[slot] = m_versions[slot];
    if (m_latest[slot]) out->push_back(m_latest[slot]);
  }
  return true;
}

MessageRef FrameHub::latest(uint32_t kind) {
  const int slot = hubSlot(kind);
  if (slot < 0) return MessageRef();
  std::lock_guard<std::mutex> guard(m_lock);
  return m_latest[slot];
}

void FrameHub::clear(uint32_t kind) {
  const int slot = hubSlot(kind);
  if (slot < 0) return;
  MessageRef old;
  std::lock_guard<std::mutex> guard(m_lock);
  old = std::move(m_latest[slot]);
  ++m_versions[slot];
}

void FrameHub::poke() {
  {
    std::lock_guard<std::mutex> guard(m_lock);
    ++m_pokes;
  }
  m_changed.notify_all();
}

void FrameHub::close() {
  {
    std::lock_guard<std::mutex> guard(m_lock);
    m_closed = true;
  }
  m_changed.notify_all();
}

void FrameHub::addCloudWatcher(int delta) {
  std::lock_guard<std::mutex> guard(m_lock);
  m_cloudWatchers += delta;
}

bool FrameHub::cloudWatched() const {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_cloudWatchers > 0;
}

}  // namespace sarvik_viewer
