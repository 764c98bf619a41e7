#include "playback_modes.h"

#include <algorithm>
#include <cmath>

namespace playback {

const uint32_t kSlotTypes[4] = {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH, SARVIK_STREAM_IR, SARVIK_STREAM_LIGHT_IR};

int slotOf(uint32_t streamType) {
  for (int i = 0; i < 4; ++i) {
    if (kSlotTypes[i] == streamType) return i;
  }
  return -1;
}

namespace {

uint16_t formatOf(uint32_t streamType, uint32_t bytesPerPixel) {
  if (streamType == SARVIK_STREAM_COLOR) return SARVIK_PIXEL_RGB24;
  if (streamType == SARVIK_STREAM_DEPTH) return SARVIK_PIXEL_DEPTH16;
  return bytesPerPixel == 1 ? SARVIK_PIXEL_GRAY8 : SARVIK_PIXEL_GRAY16;
}

int medianRate(std::vector<uint64_t>& gaps) {
  if (gaps.empty()) return 0;
  std::nth_element(gaps.begin(), gaps.begin() + gaps.size() / 2, gaps.end());
  uint64_t gap = gaps[gaps.size() / 2];
  if (gap == 0) return 0;
  long rate = std::lround(1e6 / static_cast<double>(gap));
  return static_cast<int>(std::max(1L, std::min(127L, rate)));
}

}  // namespace

bool entryIsMode(const IndexEntry& entry, const SarvikModeRecord& mode) {
  return entry.streamType == mode.sensorType && entry.width == mode.mode.modeValue1 &&
         entry.height == mode.mode.modeValue3 && entry.bytesPerPixel == mode.bytesPerPixel;
}

void inferModes(const PlaybackIndex& index, const Sidecar& sidecar, std::vector<SarvikModeRecord> modes[4]) {
  std::vector<std::vector<uint64_t>> gaps[4];
  std::vector<uint64_t> lastStamp[4];
  for (int slot = 0; slot < 4; ++slot) modes[slot].clear();
  for (const IndexEntry& entry : index.entries) {
    int slot = slotOf(entry.streamType);
    if (slot < 0) continue;
    size_t i = 0;
    while (i < modes[slot].size() && !entryIsMode(entry, modes[slot][i])) ++i;
    if (i == modes[slot].size()) {
      SarvikModeRecord record{};
      record.mode.modeValue1 = entry.width;
      record.mode.modeValue3 = entry.height;
      record.mode.modeValue4 = formatOf(entry.streamType, entry.bytesPerPixel);
      record.bytesPerPixel = entry.bytesPerPixel;
      record.modeIndex = static_cast<uint16_t>(i);
      record.sensorType = entry.streamType;
      record.frameBytes = entry.dataSize;
      modes[slot].push_back(record);
      gaps[slot].emplace_back();
      lastStamp[slot].push_back(entry.stamp);
      continue;
    }
    if (entry.stamp > lastStamp[slot][i]) gaps[slot][i].push_back(entry.stamp - lastStamp[slot][i]);
    lastStamp[slot][i] = entry.stamp;
  }
  for (int slot = 0; slot < 4; ++slot) {
    for (size_t i = 0; i < modes[slot].size(); ++i) {
      SarvikModeRecord& record = modes[slot][i];
      const SidecarStream* known = sidecar.find(record.sensorType, record.mode.modeValue1, record.mode.modeValue3);
      int fps = known != nullptr && known->fps > 0 && known->fps <= 127 ? known->fps : medianRate(gaps[slot][i]);
      record.mode.modeValue2 = static_cast<int8_t>(fps);
    }
  }
}

}  // namespace playback
