// Scratch folders for the tools' tests, and record files built byte by byte
// in the recorder's format.
#ifndef SARVIK_TESTS_TOOLS_SCRATCH_FOLDER_H
#define SARVIK_TESTS_TOOLS_SCRATCH_FOLDER_H

#include <stdint.h>

#include <fstream>
#include <string>
#include <vector>

#include "logging/temp_folder.h"

namespace sarvik {
namespace tools {

using ScratchFolder = sarvik_test::TempFolder;
using sarvik_test::readFile;

inline void writeWholeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                              static_cast<std::streamsize>(bytes.size()));
}

// Written by hand rather than by the recorder, so that a mistake shared by
// the writer and the reader cannot hide.
class RecordBytes {
 public:
  RecordBytes& u16(uint16_t v) { return put(v, 2); }
  RecordBytes& u32(uint32_t v) { return put(v, 4); }
  RecordBytes& u64(uint64_t v) { return put(v, 8); }
  // One whole entry: tag, then `dataSize` bytes counting up from `firstByte`.
  RecordBytes& entry(uint16_t type, uint32_t index, uint64_t stamp, uint32_t width, uint32_t height,
                     uint32_t dataSize, uint8_t firstByte = 0) {
    u16(type).u32(index).u64(stamp).u32(dataSize).u32(width).u32(height);
    for (uint32_t i = 0; i < dataSize; ++i) bytes.push_back(static_cast<uint8_t>(firstByte + i));
    return *this;
  }
  std::vector<uint8_t> bytes;

 private:
  RecordBytes& put(uint64_t v, int count) {
    for (int i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
    return *this;
  }
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TESTS_TOOLS_SCRATCH_FOLDER_H
