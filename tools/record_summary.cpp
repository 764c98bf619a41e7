#include "tools/record_summary.h"

#include <algorithm>

namespace sarvik {
namespace tools {

namespace {
// Enough to show that sizes changed; a file that changes mode every frame
// would otherwise print an endless list.
constexpr size_t kMaxImageSizes = 4;
}  // namespace

double StreamSummary::rate() const {
  if (frames < 2 || maxStamp <= minStamp) return 0.0;
  return static_cast<double>(frames - 1) * 1e6 / static_cast<double>(maxStamp - minStamp);
}

void RecordSummary::add(const RecordTag& packed) {
  // The tag is packed as in the file: its fields are copied out before
  // anything takes them by reference.
  struct {
    uint32_t streamType, frameIndex, dataSize, width, height;
    uint64_t frameStamp;
  } const tag = {packed.streamType, packed.frameIndex, packed.dataSize, packed.width, packed.height,
                 packed.frameStamp};
  ++m_entries;
  auto inserted = m_streams.emplace(tag.streamType, StreamSummary());
  StreamSummary& s = inserted.first->second;
  if (inserted.second) {
    s.streamType = tag.streamType;
    s.firstIndex = tag.frameIndex;
    s.minDataSize = s.maxDataSize = tag.dataSize;
    s.minStamp = s.maxStamp = tag.frameStamp;
  } else {
    if (tag.frameIndex > s.lastIndex + 1ull) {
      ++s.gaps;
      s.missing += tag.frameIndex - s.lastIndex - 1ull;
    } else if (tag.frameIndex <= s.lastIndex) {
      ++s.restarts;
    }
    s.minDataSize = std::min(s.minDataSize, tag.dataSize);
    s.maxDataSize = std::max(s.maxDataSize, tag.dataSize);
    s.minStamp = std::min(s.minStamp, tag.frameStamp);
    s.maxStamp = std::max(s.maxStamp, tag.frameStamp);
  }
  s.lastIndex = tag.frameIndex;
  ++s.frames;
  s.bytes += tag.dataSize;
  const std::pair<uint32_t, uint32_t> size(tag.width, tag.height);
  if (s.imageSizes.size() < kMaxImageSizes &&
      std::find(s.imageSizes.begin(), s.imageSizes.end(), size) == s.imageSizes.end()) {
    s.imageSizes.push_back(size);
  }
}

std::string formatImageSizes(const StreamSummary& summary) {
  if (summary.imageSizes.empty()) return "-";
  std::string text;
  for (const auto& size : summary.imageSizes) {
    if (!text.empty()) text += ", ";
    text += std::to_string(size.first) + "x" + std::to_string(size.second);
  }
  return text;
}

}  // namespace tools
}  // namespace sarvik
