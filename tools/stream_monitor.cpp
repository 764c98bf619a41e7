#include "tools/stream_monitor.h"

#include <cstdio>

#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

std::string formatFigures(uint32_t streamType, const StreamFigures& f) {
  char line[200];
  std::snprintf(line, sizeof line, "%-8s %6llu frames %7.1f fps  dropped %llu  latency median %.2f ms  max %.2f ms",
                streamTypeName(streamType).c_str(), static_cast<unsigned long long>(f.frames), f.fps(),
                static_cast<unsigned long long>(f.dropped), static_cast<double>(f.medianLatencyUs) / 1000.0,
                static_cast<double>(f.maxLatencyUs) / 1000.0);
  return line;
}

StreamMonitor::StreamMonitor(const std::vector<uint32_t>& types, uint64_t startUs)
    : m_types(types), m_stats(types.size(), StreamStats(startUs)) {}

void StreamMonitor::onFrame(size_t slot, const typedefSarvikFrame& frame, uint64_t arrivalUs) {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_stats[slot].onFrame(frame.frameNumber, frame.frameStamp, arrivalUs);
}

void StreamMonitor::pauseAll(uint64_t nowUs) {
  std::lock_guard<std::mutex> lock(m_mutex);
  for (StreamStats& stats : m_stats) stats.pause(nowUs);
}

void StreamMonitor::resumeAll(uint64_t nowUs) {
  std::lock_guard<std::mutex> lock(m_mutex);
  for (StreamStats& stats : m_stats) stats.resume(nowUs);
}

std::vector<std::string> StreamMonitor::takeLiveLines(uint64_t nowUs) {
  std::lock_guard<std::mutex> lock(m_mutex);
  std::vector<std::string> lines;
  for (size_t i = 0; i < m_stats.size(); ++i) lines.push_back(formatFigures(m_types[i], m_stats[i].takeWindow(nowUs)));
  return lines;
}

std::vector<std::string> StreamMonitor::summaryLines(uint64_t nowUs) {
  std::lock_guard<std::mutex> lock(m_mutex);
  std::vector<std::string> lines;
  for (size_t i = 0; i < m_stats.size(); ++i) lines.push_back(formatFigures(m_types[i], m_stats[i].total(nowUs)));
  return lines;
}

}  // namespace tools
}  // namespace sarvik
