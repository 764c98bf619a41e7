// Reads a record file back: the tags and data of every entry.
#ifndef SARVIK_TESTS_RECORDING_RECORD_FILE_CHECK_H
#define SARVIK_TESTS_RECORDING_RECORD_FILE_CHECK_H

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "sarvik/SarvikRecordFile.h"

namespace sarvik_test {

struct RecordedEntry {
  uint16_t streamType;
  uint32_t frameIndex;
  uint64_t frameStamp;
  uint32_t dataSize;
  uint32_t width;
  uint32_t height;
  std::vector<uint8_t> data;
};

// Walks the file tag by tag, stopping at a cut last entry.
inline std::vector<RecordedEntry> readEntries(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::vector<RecordedEntry> entries;
  for (size_t at = 0; bytes.size() - at >= kSarvikRecordTagBytes;) {
    const SarvikRecordTag tag = sarvikDecodeRecordTag(&bytes[at]);
    RecordedEntry entry;
    entry.streamType = tag.streamType;
    entry.frameIndex = tag.frameIndex;
    entry.frameStamp = tag.frameStamp;
    entry.dataSize = tag.dataSize;
    entry.width = tag.width;
    entry.height = tag.height;
    at += kSarvikRecordTagBytes;
    if (bytes.size() - at < entry.dataSize) break;
    entry.data.assign(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at + entry.dataSize));
    at += entry.dataSize;
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_RECORDING_RECORD_FILE_CHECK_H
