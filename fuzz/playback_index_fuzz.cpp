// The playback index builder over any bytes: it must refuse or index, never
// read outside the input, and every entry it keeps must lie inside the file.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "plugins/playback/playback_index.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  playback::PlaybackIndex index;
  const char* problem = playback::buildIndexFromMemory(data, size, &index);
  if (problem != nullptr && !index.entries.empty()) std::abort();
  uint64_t end = 0;
  for (const playback::IndexEntry& entry : index.entries) {
    if (entry.dataOffset < end + 26 || entry.dataOffset + entry.dataSize > size) std::abort();
    if (static_cast<uint64_t>(entry.width) * entry.height * entry.bytesPerPixel != entry.dataSize) std::abort();
    end = entry.dataOffset + entry.dataSize;
  }
  if (index.indexedBytes != end) std::abort();
  return 0;
}
