#include "playback_index.h"

#include <errno.h>
#include <unistd.h>

#include <cstring>

#include "sarvik/SarvikRecordFile.h"

namespace playback {

namespace {

constexpr size_t kTagBytes = kSarvikRecordTagBytes;

}  // namespace

const char* buildIndex(const ReadAt& read, uint64_t fileSize, PlaybackIndex* out) {
  out->entries.clear();
  out->fileSize = fileSize;
  out->indexedBytes = 0;
  out->tailProblem.clear();
  if (fileSize == 0) return "the file is empty";
  if (fileSize < kTagBytes) return "the file is shorter than one tag";
  uint64_t offset = 0;
  uint8_t bytes[kTagBytes];
  while (offset < fileSize) {
    const uint64_t left = fileSize - offset;
    if (left < kTagBytes) {
      out->tailProblem = "the file ends inside a tag";
      break;
    }
    if (!read(offset, bytes, kTagBytes)) {
      if (out->entries.empty()) return "the file cannot be read";
      out->tailProblem = "the file cannot be read further";
      break;
    }
    SarvikRecordTag tag = sarvikDecodeRecordTag(bytes);
    const char* problem = sarvikRecordTagProblem(tag, left - kTagBytes);
    if (problem != nullptr) {
      // A bad first tag means this was never a record file; a bad later one
      // is a damaged tail of one.
      if (out->entries.empty()) return problem;
      out->tailProblem = problem;
      break;
    }
    IndexEntry entry{};
    entry.dataOffset = offset + kTagBytes;
    entry.stamp = tag.frameStamp;
    entry.dataSize = tag.dataSize;
    entry.width = static_cast<uint16_t>(tag.width);
    entry.height = static_cast<uint16_t>(tag.height);
    entry.streamType = tag.streamType;
    entry.bytesPerPixel = static_cast<uint8_t>(sarvikRecordBytesPerPixel(tag));
    out->entries.push_back(entry);
    offset = entry.dataOffset + tag.dataSize;
    out->indexedBytes = offset;
  }
  return nullptr;
}

const char* buildIndexFromMemory(const uint8_t* bytes, size_t size, PlaybackIndex* out) {
  return buildIndex(
      [bytes, size](uint64_t offset, void* to, size_t n) {
        if (offset > size || size - offset < n) return false;
        std::memcpy(to, bytes + offset, n);
        return true;
      },
      size, out);
}

const char* buildIndexFromFd(int fd, uint64_t fileSize, PlaybackIndex* out) {
  return buildIndex(
      [fd](uint64_t offset, void* to, size_t n) {
        size_t done = 0;
        while (done < n) {
          ssize_t r = ::pread(fd, static_cast<uint8_t*>(to) + done, n - done, static_cast<off_t>(offset + done));
          if (r < 0 && errno == EINTR) continue;
          if (r <= 0) return false;
          done += static_cast<size_t>(r);
        }
        return true;
      },
      fileSize, out);
}

}  // namespace playback
