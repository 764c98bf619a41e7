// What a record file holds, per stream type, gathered from its tags alone.
// frameIndex counts per type from the stream's attach on; types without a
// name share one counter in the recorder, so two of them in one file show
// each other's frames as gaps.
#ifndef SARVIK_TOOLS_RECORD_SUMMARY_H
#define SARVIK_TOOLS_RECORD_SUMMARY_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/record_file.h"

namespace sarvik {
namespace tools {

struct StreamSummary {
  uint32_t streamType = 0;
  uint64_t frames = 0;
  uint64_t bytes = 0;  // frame data, tags not counted
  uint32_t firstIndex = 0;
  uint32_t lastIndex = 0;
  uint64_t gaps = 0;     // places where frameIndex jumped forward by more than one
  uint64_t missing = 0;  // frames those jumps skipped
  uint64_t restarts = 0;  // frameIndex fell back: the stream was attached anew
  uint32_t minDataSize = 0;
  uint32_t maxDataSize = 0;
  std::vector<std::pair<uint32_t, uint32_t>> imageSizes;  // distinct width x height, first few
  uint64_t minStamp = 0;
  uint64_t maxStamp = 0;

  // Frames a second from the stamps, which plug-ins give in microseconds;
  // 0 when fewer than two frames or no time passed.
  double rate() const;
};

class RecordSummary {
 public:
  void add(const RecordTag& tag);
  // By stream type, ascending.
  const std::map<uint32_t, StreamSummary>& streams() const { return m_streams; }
  uint64_t entries() const { return m_entries; }

 private:
  std::map<uint32_t, StreamSummary> m_streams;
  uint64_t m_entries = 0;
};

// "640x480" or "640x480, 320x240"; "-" when none.
std::string formatImageSizes(const StreamSummary& summary);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_RECORD_SUMMARY_H
