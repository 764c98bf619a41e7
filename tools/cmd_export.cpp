#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/bmp_writer.h"
#include "tools/commands.h"
#include "tools/depth_cloud.h"
#include "tools/record_file.h"
#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

// The first entry of the type with that frameIndex. The index starts again
// at 0 when a stream is attached anew, so a file may hold it twice.
bool findEntry(RecordFileReader* reader, uint32_t type, uint32_t index, RecordEntry* found) {
  RecordEntry entry;
  while (reader->next(&entry)) {
    if (entry.tag.streamType == type && entry.tag.frameIndex == index) {
      *found = entry;
      return true;
    }
  }
  return false;
}

int exportColour(const RecordTag& tag, const std::vector<uint8_t>& data, const std::string& out) {
  // The file does not say how pixels are laid out; colour frames are three
  // bytes a pixel, and dataSize must agree.
  if (static_cast<uint64_t>(tag.width) * tag.height * 3 != tag.dataSize) {
    std::fprintf(stderr, "the color frame is %ux%u with %u bytes: not 3 bytes a pixel, no BMP written\n", tag.width,
                 tag.height, tag.dataSize);
    return 1;
  }
  std::string error;
  if (!writeBmpFile(out, data.data(), tag.width, tag.height, &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  std::printf("wrote a %ux%u BMP to %s\n", tag.width, tag.height, out.c_str());
  return 0;
}

int exportDepth(const CommandLine& line, const RecordTag& tag, const std::vector<uint8_t>& data) {
  if (static_cast<uint64_t>(tag.width) * tag.height * 2 != tag.dataSize) {
    std::fprintf(stderr, "the depth frame is %ux%u with %u bytes: not 2 bytes a pixel, no cloud written\n",
                 tag.width, tag.height, tag.dataSize);
    return 1;
  }
  std::vector<uint16_t> depth(static_cast<size_t>(tag.width) * tag.height);
  std::memcpy(depth.data(), data.data(), data.size());
  // The conversion needs a context but no camera, so the module is not initialised.
  SdkSession sdk;
  if (!sdk.start(line.modulePath, false)) return 1;
  const int exitCode =
      writeDepthCloud(sdk.context(), depth.data(), tag.width, tag.height, line.cloud, false, line.output);
  return finishSession(&sdk, exitCode);
}

int exportRaw(const RecordTag& tag, const std::vector<uint8_t>& data, const std::string& out) {
  std::FILE* file = std::fopen(out.c_str(), "wb");
  const bool written = file != nullptr && std::fwrite(data.data(), 1, data.size(), file) == data.size();
  if (file == nullptr || std::fclose(file) != 0 || !written) {
    std::fprintf(stderr, "%s: cannot write\n", out.c_str());
    return 1;
  }
  std::printf("wrote %u raw bytes of a %ux%u frame to %s\n", tag.dataSize, tag.width, tag.height, out.c_str());
  return 0;
}

}  // namespace

int runExport(const CommandLine& line) {
  RecordFileReader reader;
  std::string error;
  if (!reader.open(line.file, 0, &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  RecordEntry entry;
  if (!findEntry(&reader, line.exportType, line.index, &entry)) {
    std::fprintf(stderr, "no %s frame with index %u in %s", streamTypeName(line.exportType).c_str(), line.index,
                 line.file.c_str());
    if (reader.problem().kind != RecordDamage::kNone) {
      std::fprintf(stderr, " before its damage (%s)", reader.problem().describe().c_str());
    }
    std::fprintf(stderr, "\n");
    return 1;
  }
  std::vector<uint8_t> data;
  if (!reader.readData(entry, &data, &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  switch (line.exportType) {
    case SARVIK_STREAM_COLOR: return exportColour(entry.tag, data, line.output);
    case SARVIK_STREAM_DEPTH: return exportDepth(line, entry.tag, data);
    default: return exportRaw(entry.tag, data, line.output);
  }
}

}  // namespace tools
}  // namespace sarvik
