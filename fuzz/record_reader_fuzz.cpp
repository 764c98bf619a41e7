// The record-file reader of the tools on arbitrary bytes: every entry it
// hands out lies within the file, readData gives exactly dataSize bytes, and
// the walk ends (each step moves forward) without a crash or a leak.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/record_file.h"

namespace {

// One in-memory file for the whole run, reached by its /proc path: no disk
// traffic per input.
int scratchFile() {
  static const int fd = [] {
    const int made = memfd_create("sarvik-record-fuzz", 0);
    if (made < 0) std::abort();
    return made;
  }();
  return fd;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const int fd = scratchFile();
  if (ftruncate(fd, 0) != 0) return 0;
  if (size > 0 && pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) return 0;
  const std::string path = "/proc/self/fd/" + std::to_string(fd);

  sarvik::tools::RecordFileReader reader;
  std::string error;
  if (!reader.open(path, 0, &error)) return 0;
  sarvik::tools::RecordEntry entry;
  std::vector<uint8_t> bytes;
  uint64_t last = 0;
  bool first = true;
  while (reader.next(&entry)) {
    if (!first && entry.offset <= last) std::abort();  // no step may go back or stand still
    first = false;
    last = entry.offset;
    if (entry.offset + sarvik::tools::kRecordTagBytes + entry.tag.dataSize > size) std::abort();
    if (!reader.readData(entry, &bytes, &error)) std::abort();
    if (bytes.size() != entry.tag.dataSize) std::abort();
  }
  if (reader.position() > size) std::abort();
  return 0;
}
