#include "tools/record_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace sarvik {
namespace tools {

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
      return "inconsistent tag" + at + (why != nullptr ? std::string(why) + ": " : std::string()) + "type " +
             std::to_string(tag.streamType) + ", " + std::to_string(tag.width) + "x" + std::to_string(tag.height) +
             ", dataSize " + std::to_string(tag.dataSize) + ", " + std::to_string(available - kRecordTagBytes) +
             " bytes follow";
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
  if (kind != RecordDamage::kInconsistentTag) m_problem.why = nullptr;
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
  // Judged as if the rest of the file were there, so that a sound tag whose
  // data is cut short counts as truncated rather than as nonsense.
  const char* why = sarvikRecordTagProblem(tag, UINT64_MAX);
  if (why != nullptr) {
    m_problem.why = why;
    return fail(RecordDamage::kInconsistentTag, tag);
  }
  if (tag.dataSize > left - kRecordTagBytes) return fail(RecordDamage::kTruncatedData, tag);
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
