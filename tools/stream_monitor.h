// The statistics of all streams of one `stream` run, fed from reader or
// callback threads and read by the main thread once a second.
#ifndef SARVIK_TOOLS_STREAM_MONITOR_H
#define SARVIK_TOOLS_STREAM_MONITOR_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "sarvik/SarvikTypes.h"
#include "tools/stream_stats.h"

namespace sarvik {
namespace tools {

// "depth     30 frames   30.0 fps  dropped 0  latency median 0.41 ms  max 1.20 ms"
std::string formatFigures(uint32_t streamType, const StreamFigures& figures);

class StreamMonitor {
 public:
  StreamMonitor(const std::vector<uint32_t>& types, uint64_t startUs);

  // Thread-safe. `slot` is the stream's position in the type list.
  void onFrame(size_t slot, const typedefSarvikFrame& frame, uint64_t arrivalUs);
  // The camera went away, and came back; see StreamStats.
  void pauseAll(uint64_t nowUs);
  void resumeAll(uint64_t nowUs);

  // One line per stream for the time since the last call.
  std::vector<std::string> takeLiveLines(uint64_t nowUs);
  // One line per stream for the whole run.
  std::vector<std::string> summaryLines(uint64_t nowUs);

 private:
  std::mutex m_mutex;
  std::vector<uint32_t> m_types;
  std::vector<StreamStats> m_stats;  // guarded by m_mutex
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_STREAM_MONITOR_H
