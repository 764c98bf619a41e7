#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/commands.h"
#include "tools/record_file.h"
#include "tools/record_summary.h"
#include "tools/sdk_session.h"
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

nlohmann::json streamJson(const StreamSummary& s) {
  nlohmann::json sizes = nlohmann::json::array();
  for (const auto& size : s.imageSizes) sizes.push_back({{"width", size.first}, {"height", size.second}});
  return {{"type", streamTypeName(s.streamType)}, {"type_code", s.streamType}, {"frames", s.frames},
          {"bytes", s.bytes},     {"first_index", s.firstIndex}, {"last_index", s.lastIndex},
          {"gaps", s.gaps},       {"missing", s.missing},        {"restarts", s.restarts},
          {"sizes", sizes},       {"fps", s.rate()}};
}

}  // namespace

int runInspect(const CommandLine& line) {
  RecordFileReader reader;
  std::string error;
  if (!reader.open(line.file, 0, &error)) return reportError("cannot inspect " + error);
  RecordSummary summary;
  RecordEntry entry;
  while (reader.next(&entry)) summary.add(entry.tag);
  const RecordProblem& problem = reader.problem();

  // A first tag that makes no sense means the file was never a recording:
  // saying "damaged at byte 0" would suggest there is something to save.
  const bool notARecord = problem.kind == RecordDamage::kInconsistentTag && problem.offset == 0;
  const bool empty = reader.fileSize() == 0;
  std::string verdict = "clean";
  if (notARecord) {
    verdict = "not a record file";
  } else if (empty) {
    verdict = "empty";
  } else if (problem.kind != RecordDamage::kNone) {
    verdict = "damaged";
  }
  const int exitCode = verdict == "clean" ? 0 : 1;

  if (line.json) {
    nlohmann::json document;
    document["file"] = line.file;
    document["bytes"] = reader.fileSize();
    document["frames"] = summary.entries();
    document["verdict"] = verdict;
    document["streams"] = nlohmann::json::array();
    for (const auto& stream : summary.streams()) document["streams"].push_back(streamJson(stream.second));
    if (problem.kind != RecordDamage::kNone) {
      document["problem"] = {{"offset", problem.offset},
                             {"text", problem.describe()},
                             {"unread_bytes", reader.fileSize() - reader.position()}};
    }
    std::printf("%s\n", document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    return exitCode;
  }
  if (notARecord) return reportError(line.file + " is not a record file (" + problem.describe() + ")");
  if (empty) return reportError(line.file + " is empty: no frames were recorded");
  std::printf("%s: %llu bytes, %llu frames\n", line.file.c_str(), static_cast<unsigned long long>(reader.fileSize()),
              static_cast<unsigned long long>(summary.entries()));
  for (const auto& stream : summary.streams()) printStream(stream.second);
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
