#include <cstdio>
#include <string>

#include "tools/commands.h"
#include "tools/record_file.h"
#include "tools/record_summary.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

void printStream(const StreamSummary& s) {
  std::printf("%s (type %u): %llu frames, frameIndex %u..%u\n", streamTypeName(s.streamType).c_str(), s.streamType,
              static_cast<unsigned long long>(s.frames), s.firstIndex, s.lastIndex);
  std::printf("  gaps %llu (%llu frames missing), index restarts %llu\n", static_cast<unsigned long long>(s.gaps),
              static_cast<unsigned long long>(s.missing), static_cast<unsigned long long>(s.restarts));
  if (s.minDataSize == s.maxDataSize) {
    std::printf("  size %s, dataSize %u\n", formatImageSizes(s).c_str(), s.minDataSize);
  } else {
    std::printf("  size %s, dataSize %u..%u\n", formatImageSizes(s).c_str(), s.minDataSize, s.maxDataSize);
  }
  if (s.rate() > 0.0) {
    std::printf("  rate %.2f fps over %.3f s of stamps\n", s.rate(),
                static_cast<double>(s.maxStamp - s.minStamp) / 1e6);
  } else {
    std::printf("  rate unknown (fewer than two frames, or equal stamps)\n");
  }
}

}  // namespace

int runInspect(const CommandLine& line) {
  RecordFileReader reader;
  std::string error;
  if (!reader.open(line.file, 0, &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  RecordSummary summary;
  RecordEntry entry;
  while (reader.next(&entry)) summary.add(entry.tag);

  std::printf("%s: %llu bytes, %llu frames\n", line.file.c_str(), static_cast<unsigned long long>(reader.fileSize()),
              static_cast<unsigned long long>(summary.entries()));
  for (const auto& stream : summary.streams()) printStream(stream.second);
  const RecordProblem& problem = reader.problem();
  if (problem.kind == RecordDamage::kNone) {
    std::printf("file is clean\n");
    return 0;
  }
  std::printf("DAMAGED: %s; the last %llu bytes are not read\n", problem.describe().c_str(),
              static_cast<unsigned long long>(reader.fileSize() - reader.position()));
  return 1;
}

}  // namespace tools
}  // namespace sarvik
