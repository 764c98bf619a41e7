// Reads a record file back for assertions: the tags and data of every entry.
#ifndef SARVIK_TESTS_RECORDING_RECORD_FILE_CHECK_H
#define SARVIK_TESTS_RECORDING_RECORD_FILE_CHECK_H

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

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

inline std::vector<uint8_t> fileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::vector<uint8_t>((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

template <typename T>
T readLittle(const uint8_t* at) {
  T value = 0;
  for (size_t i = 0; i < sizeof(T); ++i) value |= static_cast<T>(static_cast<T>(at[i]) << (8 * i));
  return value;
}

// Walks the file tag by tag; `complete` is false when the last entry is cut.
inline std::vector<RecordedEntry> readEntries(const std::string& path, bool* complete = nullptr) {
  const std::vector<uint8_t> bytes = fileBytes(path);
  std::vector<RecordedEntry> entries;
  size_t at = 0;
  bool whole = true;
  while (at < bytes.size()) {
    if (bytes.size() - at < 26) {
      whole = false;
      break;
    }
    RecordedEntry entry;
    entry.streamType = readLittle<uint16_t>(&bytes[at]);
    entry.frameIndex = readLittle<uint32_t>(&bytes[at + 2]);
    entry.frameStamp = readLittle<uint64_t>(&bytes[at + 6]);
    entry.dataSize = readLittle<uint32_t>(&bytes[at + 14]);
    entry.width = readLittle<uint32_t>(&bytes[at + 18]);
    entry.height = readLittle<uint32_t>(&bytes[at + 22]);
    at += 26;
    if (bytes.size() - at < entry.dataSize) {
      whole = false;
      break;
    }
    entry.data.assign(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at + entry.dataSize));
    at += entry.dataSize;
    entries.push_back(std::move(entry));
  }
  if (complete != nullptr) *complete = whole;
  return entries;
}

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_RECORDING_RECORD_FILE_CHECK_H
