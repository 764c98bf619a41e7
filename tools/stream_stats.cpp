#include "tools/stream_stats.h"

#include <algorithm>

namespace sarvik {
namespace tools {

namespace {
// The run's median is taken over the first million frames (hours at camera
// rates); later frames still count towards frames, drops and the maximum.
constexpr size_t kMaxTotalSamples = 1u << 20;

int64_t median(std::vector<int64_t> values) {
  if (values.empty()) return 0;
  const size_t mid = values.size() / 2;
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(mid), values.end());
  return values[mid];
}
}  // namespace

StreamStats::StreamStats(uint64_t startUs) : m_startUs(startUs), m_windowStartUs(startUs) {}

void StreamStats::onFrame(uint32_t frameNumber, uint64_t frameStamp, uint64_t arrivalUs) {
  uint64_t dropped = 0;
  // Only a forward jump is a loss; a number that goes back means the
  // plug-in's counter started again, and becomes the new base.
  if (m_haveLast && frameNumber > m_lastNumber) dropped = frameNumber - m_lastNumber - 1u;
  m_haveLast = true;
  m_lastNumber = frameNumber;

  const int64_t latency = static_cast<int64_t>(arrivalUs - frameStamp);
  for (Counters* c : {&m_window, &m_total}) {
    c->maxLatencyUs = c->frames == 0 ? latency : std::max(c->maxLatencyUs, latency);
    ++c->frames;
    c->dropped += dropped;
  }
  m_window.latencies.push_back(latency);
  if (m_total.latencies.size() < kMaxTotalSamples) m_total.latencies.push_back(latency);
}

void StreamStats::pause(uint64_t nowUs) {
  if (m_pauseStartUs == 0) m_pauseStartUs = nowUs;
}

void StreamStats::resume(uint64_t nowUs) {
  if (m_pauseStartUs != 0 && nowUs > m_pauseStartUs) m_pausedUs += nowUs - m_pauseStartUs;
  m_pauseStartUs = 0;
  m_haveLast = false;
  m_window = Counters();
  m_windowStartUs = nowUs;
}

StreamFigures StreamStats::figures(const Counters& counters, uint64_t activeUs) {
  StreamFigures f;
  f.frames = counters.frames;
  f.dropped = counters.dropped;
  f.seconds = static_cast<double>(activeUs) / 1e6;
  f.medianLatencyUs = median(counters.latencies);
  f.maxLatencyUs = counters.maxLatencyUs;
  return f;
}

StreamFigures StreamStats::takeWindow(uint64_t nowUs) {
  const StreamFigures f = figures(m_window, nowUs > m_windowStartUs ? nowUs - m_windowStartUs : 0);
  m_window = Counters();
  m_windowStartUs = nowUs;
  return f;
}

StreamFigures StreamStats::total(uint64_t nowUs) const {
  // A run that ends while paused stops counting where the pause began.
  const uint64_t end = m_pauseStartUs != 0 ? m_pauseStartUs : nowUs;
  const uint64_t span = end > m_startUs ? end - m_startUs : 0;
  return figures(m_total, span > m_pausedUs ? span - m_pausedUs : 0);
}

}  // namespace tools
}  // namespace sarvik
