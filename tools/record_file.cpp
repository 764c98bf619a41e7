#include "tools/record_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace sarvik {
namespace tools {

namespace {

uint64_t readLittleEndian(const uint8_t* bytes, int count) {
  uint64_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = (value << 8) | bytes[i];
  return value;
}

// Recorders write tight images of one to four bytes a pixel. A tag that wants
// more data than that is garbage rather than a frame cut short.
bool dataSizeFitsImage(const RecordTag& tag) {
  const uint64_t pixels = static_cast<uint64_t>(tag.width) * tag.height;
  return pixels != 0 && tag.dataSize <= pixels * 4;
}

}  // namespace

RecordTag decodeRecordTag(const uint8_t* bytes) {
  RecordTag tag;
  tag.streamType = static_cast<uint16_t>(readLittleEndian(bytes + 0, 2));
  tag.frameIndex = static_cast<uint32_t>(readLittleEndian(bytes + 2, 4));
  tag.frameStamp = readLittleEndian(bytes + 6, 8);
  tag.dataSize = static_cast<uint32_t>(readLittleEndian(bytes + 14, 4));
  tag.width = static_cast<uint32_t>(readLittleEndian(bytes + 18, 4));
  tag.height = static_cast<uint32_t>(readLittleEndian(bytes + 22, 4));
  return tag;
}

std::string RecordProblem::describe() const {
  const std::string at = " at byte " + std::to_string(offset) + ": ";
  switch (kind) {
    case RecordDamage::kNone:
      return "no damage";
    case RecordDamage::kTruncatedTag:
      return "truncated tag" + at + std::to_string(available) + " of " + std::to_string(kRecordTagBytes) +
             " bytes present";
    case RecordDamage::kTruncatedData:
      return "truncated data" + at + "the tag announces " + std::to_string(tag.dataSize) + " bytes, " +
             std::to_string(available - kRecordTagBytes) + " follow";
    case RecordDamage::kInconsistentTag:
      if (tag.dataSize == 0) return "inconsistent tag" + at + "dataSize 0";
      return "inconsistent tag" + at + "dataSize " + std::to_string(tag.dataSize) + " for a " +
             std::to_string(tag.width) + "x" + std::to_string(tag.height) + " image, " +
             std::to_string(available - kRecordTagBytes) + " bytes follow";
  }
  return "unknown damage";
}

RecordFileReader::~RecordFileReader() {
  if (m_file != nullptr) std::fclose(m_file);
}

bool RecordFileReader::open(const std::string& path, uint64_t startOffset, std::string* error) {
  if (m_file != nullptr) std::fclose(m_file);
  m_problem = RecordProblem();
  m_file = std::fopen(path.c_str(), "rb");
  struct stat st;
  if (m_file == nullptr || fstat(fileno(m_file), &st) != 0 || !S_ISREG(st.st_mode)) {
    *error = path + ": " + (m_file == nullptr ? std::strerror(errno) : "not a regular file");
    if (m_file != nullptr) std::fclose(m_file);
    m_file = nullptr;
    return false;
  }
  m_fileSize = static_cast<uint64_t>(st.st_size);
  if (startOffset > m_fileSize || fseeko(m_file, static_cast<off_t>(startOffset), SEEK_SET) != 0) {
    *error = path + ": cannot start at byte " + std::to_string(startOffset);
    return false;
  }
  m_position = startOffset;
  return true;
}

bool RecordFileReader::fail(RecordDamage kind, const RecordTag& tag) {
  m_problem.kind = kind;
  m_problem.offset = m_position;
  m_problem.available = m_fileSize - m_position;
  m_problem.tag = tag;
  return false;
}

bool RecordFileReader::next(RecordEntry* entry) {
  if (m_file == nullptr || m_problem.kind != RecordDamage::kNone) return false;
  const uint64_t left = m_fileSize - m_position;
  if (left == 0) return false;
  if (left < kRecordTagBytes) return fail(RecordDamage::kTruncatedTag, RecordTag());

  uint8_t bytes[kRecordTagBytes];
  if (fseeko(m_file, static_cast<off_t>(m_position), SEEK_SET) != 0 ||
      std::fread(bytes, 1, sizeof bytes, m_file) != sizeof bytes) {
    // The file shrank under us; what is left is as good as cut off.
    return fail(RecordDamage::kTruncatedTag, RecordTag());
  }
  const RecordTag tag = decodeRecordTag(bytes);
  if (tag.dataSize == 0) return fail(RecordDamage::kInconsistentTag, tag);
  if (tag.dataSize > left - kRecordTagBytes) {
    return fail(dataSizeFitsImage(tag) ? RecordDamage::kTruncatedData : RecordDamage::kInconsistentTag, tag);
  }
  entry->tag = tag;
  entry->offset = m_position;
  m_position += kRecordTagBytes + static_cast<uint64_t>(tag.dataSize);
  return true;
}

bool RecordFileReader::readData(const RecordEntry& entry, std::vector<uint8_t>* out, std::string* error) {
  out->resize(entry.tag.dataSize);
  if (m_file == nullptr ||
      fseeko(m_file, static_cast<off_t>(entry.offset + kRecordTagBytes), SEEK_SET) != 0 ||
      std::fread(out->data(), 1, out->size(), m_file) != out->size()) {
    *error = "cannot read the frame at byte " + std::to_string(entry.offset);
    return false;
  }
  return true;
}

}  // namespace tools
}  // namespace sarvik
