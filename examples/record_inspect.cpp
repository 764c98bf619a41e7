// record_inspect: records 1 s of colour and depth to a file, then reads the
// file back and tells what it holds per stream type.
//
//   record_inspect [FILE [CAMERA]]     FILE default: sarvik-example.rec here
#include <chrono>
#include <cstdio>
#include <map>
#include <thread>

#include "example_context.h"
#include "sarvik/SarvikRecordFile.h"

namespace {

bool record(ExampleContext& context, const char* path) {
  SarvikBaseContext* sdk = context.sdk();
  // Streams without a callback: their "Stream Thread" hands each frame to the
  // recorder. Missing folders of the path are created.
  sarvik::StreamRecorder* recorder = nullptr;
  if (!check("createRecorder", sdk->createRecorder(path, &recorder))) return false;
  bool ok = true;
  for (uint32_t type : {SARVIK_STREAM_COLOR, SARVIK_STREAM_DEPTH}) {
    sarvik::VideoStream* stream = nullptr;
    ok = ok && check("openStream", sdk->openStream(context.device(), type, &stream, nullptr, nullptr)) &&
         check("attachStreamToRecorder", sdk->attachStreamToRecorder(recorder, stream));
  }
  ok = ok && check("startRecorder", sdk->startRecorder(recorder));
  if (ok) std::this_thread::sleep_for(std::chrono::seconds(1));
  ok = check("stopRecorder", sdk->stopRecorder(recorder)) && ok;
  // Destroying the recorder closes the file; the streams close with the device.
  return check("destroyRecorder", sdk->destroyRecorder(recorder)) && ok;
}

struct TypeSummary {
  uint64_t entries = 0;
  uint64_t bytes = 0;
  uint32_t width = 0;
  uint32_t height = 0;
};

// Walks the file tag by tag. A tag that cannot start an entry (a file cut
// short, or not a record file at all) ends the walk with a message.
bool inspect(const char* path) {
  FILE* file = std::fopen(path, "rb");
  if (file == nullptr) {
    std::perror(path);
    return false;
  }
  std::fseek(file, 0, SEEK_END);
  const uint64_t size = static_cast<uint64_t>(std::ftell(file));
  std::fseek(file, 0, SEEK_SET);
  std::map<uint32_t, TypeSummary> types;
  uint64_t offset = 0;
  bool sound = true;
  uint8_t bytes[kSarvikRecordTagBytes];
  while (offset < size) {
    if (size - offset < kSarvikRecordTagBytes || std::fread(bytes, 1, sizeof bytes, file) != sizeof bytes) {
      std::fprintf(stderr, "%s: truncated tag at byte %llu\n", path, static_cast<unsigned long long>(offset));
      sound = false;
      break;
    }
    const SarvikRecordTag tag = sarvikDecodeRecordTag(bytes);
    const char* problem = sarvikRecordTagProblem(tag, size - offset - kSarvikRecordTagBytes);
    if (problem != nullptr) {
      std::fprintf(stderr, "%s: byte %llu: %s\n", path, static_cast<unsigned long long>(offset), problem);
      sound = false;
      break;
    }
    TypeSummary& summary = types[tag.streamType];
    ++summary.entries;
    summary.bytes += tag.dataSize;
    summary.width = tag.width;
    summary.height = tag.height;
    std::fseek(file, static_cast<long>(tag.dataSize), SEEK_CUR);
    offset += kSarvikRecordTagBytes + tag.dataSize;
  }
  std::fclose(file);
  std::printf("%s: %llu bytes\n", path, static_cast<unsigned long long>(size));
  for (const auto& entry : types) {
    std::printf("  stream type %u: %llu frames of %ux%u, %llu bytes of pixels\n", entry.first,
                static_cast<unsigned long long>(entry.second.entries), entry.second.width, entry.second.height,
                static_cast<unsigned long long>(entry.second.bytes));
  }
  return sound && types.count(SARVIK_STREAM_COLOR) == 1 && types.count(SARVIK_STREAM_DEPTH) == 1;
}

}  // namespace

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "sarvik-example.rec";
  {
    ExampleContext context;
    if (!context.start() || !context.openCamera(argc > 2 ? argv[2] : "") || !record(context, path)) return 1;
  }
  return inspect(path) ? 0 : 1;
}
