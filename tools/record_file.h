// Reader of record files. A record file is a run of entries from byte 0 to
// the end: a 26-byte little-endian tag, then the tag's dataSize bytes of the
// frame. There is no header (a recorder keeps its per-type mode records in
// memory only), no index and no checksum, so a damaged entry cannot be
// skipped: the reader stops there and says where and why.
#ifndef SARVIK_TOOLS_RECORD_FILE_H
#define SARVIK_TOOLS_RECORD_FILE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "sarvik/SarvikRecordFile.h"

namespace sarvik {
namespace tools {

constexpr uint32_t kRecordTagBytes = kSarvikRecordTagBytes;

// The tag as the file holds it.
using RecordTag = SarvikRecordTag;

// Decodes the 26 bytes at `bytes`.
inline RecordTag decodeRecordTag(const uint8_t* bytes) { return sarvikDecodeRecordTag(bytes); }

struct RecordEntry {
  RecordTag tag;
  uint64_t offset = 0;  // of the tag; the data follows at offset + 26
};

enum class RecordDamage {
  kNone,
  kTruncatedTag,     // the file ends inside a tag
  kTruncatedData,    // a sound tag whose data the file cuts short
  kInconsistentTag,  // a tag that no recorder writes: unknown stream type, a size out of range, or a
                     // dataSize that is not width x height x bytes per pixel of its type
};

struct RecordProblem {
  RecordDamage kind = RecordDamage::kNone;
  uint64_t offset = 0;     // of the tag concerned
  uint64_t available = 0;  // bytes of the file from `offset` on
  RecordTag tag{};         // as read; empty for kTruncatedTag
  const char* why = nullptr;  // for kInconsistentTag: what makes no sense

  // One line naming the byte offset, e.g.
  // "truncated data at byte 1234: the tag announces 614400 bytes, 100 follow".
  std::string describe() const;
};

class RecordFileReader {
 public:
  RecordFileReader() = default;
  ~RecordFileReader();
  RecordFileReader(const RecordFileReader&) = delete;
  RecordFileReader& operator=(const RecordFileReader&) = delete;

  // Opens `path` and starts at `startOffset`, which must be an entry boundary
  // (0, or a position() seen before). The size is taken now: bytes appended
  // later by a running recorder are seen only by a new open.
  bool open(const std::string& path, uint64_t startOffset, std::string* error);

  // The next entry, its data skipped. False at the end of the file and at the
  // first damaged entry; problem() tells which.
  bool next(RecordEntry* entry);

  // The frame bytes of an entry that next() returned.
  bool readData(const RecordEntry& entry, std::vector<uint8_t>* out, std::string* error);

  const RecordProblem& problem() const { return m_problem; }
  // End of the last whole entry: where a later scan of a growing file resumes.
  uint64_t position() const { return m_position; }
  uint64_t fileSize() const { return m_fileSize; }

 private:
  bool fail(RecordDamage kind, const RecordTag& tag);

  std::FILE* m_file = nullptr;
  uint64_t m_fileSize = 0;
  uint64_t m_position = 0;
  RecordProblem m_problem;
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_RECORD_FILE_H
