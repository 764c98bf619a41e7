#include "record_maker.h"

#include <fstream>
#include <stdexcept>

namespace playbacktest {

std::vector<uint8_t> patternOf(const EntrySpec& spec) {
  std::vector<uint8_t> pixels(static_cast<size_t>(spec.width) * spec.height * spec.bytesPerPixel);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>((spec.stamp * 31 + i) & 0xff);
  return pixels;
}

void appendEntry(std::vector<uint8_t>* file, const EntrySpec& spec, uint32_t frameIndex) {
  std::vector<uint8_t> pixels = patternOf(spec);
  SarvikRecordTag tag{};
  tag.streamType = spec.streamType;
  tag.frameIndex = frameIndex;
  tag.frameStamp = spec.stamp;
  tag.dataSize = static_cast<uint32_t>(pixels.size());
  tag.width = spec.width;
  tag.height = spec.height;
  uint8_t bytes[kSarvikRecordTagBytes];
  sarvikEncodeRecordTag(tag, bytes);
  file->insert(file->end(), bytes, bytes + sizeof bytes);
  file->insert(file->end(), pixels.begin(), pixels.end());
}

std::vector<uint8_t> makeRecord(uint16_t streamType, uint32_t width, uint32_t height, uint32_t bytesPerPixel,
                                size_t count, uint64_t first, uint64_t gapUs) {
  std::vector<uint8_t> file;
  for (size_t i = 0; i < count; ++i) {
    appendEntry(&file, EntrySpec{streamType, width, height, bytesPerPixel, first + i * gapUs},
                static_cast<uint32_t>(i));
  }
  return file;
}

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace playbacktest
