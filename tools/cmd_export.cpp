#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "sarvik/SarvikRecordFile.h"
#include "tools/commands.h"
#include "tools/depth_cloud.h"
#include "tools/image_files.h"
#include "tools/output_file.h"
#include "tools/record_file.h"
#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

// OUT for one frame; with several, "depth.png" becomes "depth-000012.png".
std::string outputName(const std::string& out, bool several, uint32_t frameIndex) {
  if (!several) return out;
  char number[16];
  std::snprintf(number, sizeof number, "-%06u", frameIndex);
  const size_t dot = out.find_last_of('.');
  const size_t slash = out.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return out + number;
  return out.substr(0, dot) + number + out.substr(dot);
}

class Exporter {
 public:
  Exporter(const CommandLine& line, FileFormat format) : m_line(line), m_format(format) {}

  // Writes one entry; prints what failed and returns false.
  bool write(const RecordEntry& entry, const std::vector<uint8_t>& data, bool several) {
    const std::string path = outputName(m_line.output, several, entry.tag.frameIndex);
    FrameImage image;
    image.data = data.data();
    image.width = entry.tag.width;
    image.height = entry.tag.height;
    image.bytesPerPixel = sarvikRecordBytesPerPixel(entry.tag);
    std::string error;
    if (m_format == FileFormat::kPly) {
      if (!startModule()) return false;
      // The conversion wants aligned samples; the file's bytes need not be.
      std::vector<uint16_t> depth(data.size() / 2);
      std::memcpy(depth.data(), data.data(), depth.size() * 2);
      const CloudSetup setup = resolveCloud(m_line.cloud, nullptr, nullptr, image.width, image.height);
      return writeDepthCloud(m_sdk->context(), depth.data(), image.width, image.height, setup, false, path,
                             m_line.force) == 0;
    }
    std::vector<uint8_t> bytes;
    if (!encodeImage(m_format, image, &bytes, &error) || !saveFile(path, m_line.force, bytes, &error)) {
      reportError(error);
      return false;
    }
    std::printf("wrote %s (%s frame %u, %ux%u %s)\n", path.c_str(), streamTypeName(entry.tag.streamType).c_str(),
                entry.tag.frameIndex, image.width, image.height, fileFormatName(m_format));
    return true;
  }

  int finish(int exitCode) { return m_sdk ? finishSession(m_sdk.get(), exitCode) : exitCode; }

 private:
  // The conversion needs a context but no camera, so the module is not
  // initialised; loaded only when a cloud is asked for.
  bool startModule() {
    if (m_sdk) return true;
    m_sdk.reset(new SdkSession());
    return m_sdk->start(m_line.modulePath, false);
  }

  const CommandLine& m_line;
  const FileFormat m_format;
  std::unique_ptr<SdkSession> m_sdk;
};

}  // namespace

int runExport(const CommandLine& line) {
  const std::string type = streamTypeName(line.exportType);
  const FileFormat format = fileFormatOf(line.output);
  if (format == FileFormat::kUnknown || !formatFits(line.exportType, format)) {
    return reportError("cannot write " + type + " frames as " +
                       (format == FileFormat::kUnknown ? "'" + line.output + "'" : fileFormatName(format)) +
                       "; name OUT ." + formatsFor(line.exportType));
  }
  RecordFileReader reader;
  std::string error;
  if (!reader.open(line.file, 0, &error)) return reportError("cannot export " + error);
  const bool several = line.allFrames || line.firstIndex != line.lastIndex;
  Exporter exporter(line, format);
  RecordEntry entry;
  std::vector<uint8_t> data;
  uint64_t written = 0;
  int exitCode = 0;
  while (exitCode == 0 && reader.next(&entry)) {
    const uint32_t index = entry.tag.frameIndex;
    if (entry.tag.streamType != line.exportType) continue;
    if (!line.allFrames && (index < line.firstIndex || index > line.lastIndex)) continue;
    if (!reader.readData(entry, &data, &error)) {
      exitCode = reportError(line.file + ": " + error);
    } else if (!exporter.write(entry, data, several)) {
      exitCode = 1;
    } else {
      ++written;
    }
    // The index starts again at 0 when a stream is attached anew; one
    // frame asked for is the first with that index.
    if (!several) break;
  }
  const RecordProblem& problem = reader.problem();
  if (exitCode == 0 && written == 0) {
    std::string what = line.allFrames ? "no " + type + " frames"
                                      : "no " + type + " frame with index " + std::to_string(line.firstIndex) +
                                            (several ? " to " + std::to_string(line.lastIndex) : "");
    if (problem.kind != RecordDamage::kNone) what += " before its damage (" + problem.describe() + ")";
    exitCode = reportError(what + " in " + line.file + "; `sarvik inspect` shows what it holds");
  } else if (exitCode == 0 && several && problem.kind != RecordDamage::kNone) {
    // What was written is sound; the user should still know the rest was lost.
    std::fprintf(stderr, "sarvik: %s is damaged (%s); frames after that are not exported\n", line.file.c_str(),
                 problem.describe().c_str());
    exitCode = 1;
  }
  if (several && written > 0) std::printf("exported %llu %s frames\n", static_cast<unsigned long long>(written), type.c_str());
  return exporter.finish(exitCode);
}

}  // namespace tools
}  // namespace sarvik
