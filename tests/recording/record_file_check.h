// Reads a record file back: the tags and data of every entry.
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

template <typename T>
T readLittle(const uint8_t* at) {
  T value = 0;
  for (size_t i = 0; i < sizeof(T); ++i) value |= static_cast<T>(static_cast<T>(at[i]) << (8 * i));
  return value;
}

// Walks the file tag by tag, stopping at a cut last entry.
inline std::vector<RecordedEntry> readEntries(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::vector<RecordedEntry> entries;
  for (size_t at = 0; bytes.size() - at >= 26;) {
    RecordedEntry entry;
    entry.streamType = readLittle<uint16_t>(&bytes[at]);
    entry.frameIndex = readLittle<uint32_t>(&bytes[at + 2]);
    entry.frameStamp = readLittle<uint64_t>(&bytes[at + 6]);
    entry.dataSize = readLittle<uint32_t>(&bytes[at + 14]);
    entry.width = readLittle<uint32_t>(&bytes[at + 18]);
    entry.height = readLittle<uint32_t>(&bytes[at + 22]);
    at += 26;
    if (bytes.size() - at < entry.dataSize) break;
    entry.data.assign(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at + entry.dataSize));
    at += entry.dataSize;
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_RECORDING_RECORD_FILE_CHECK_H
