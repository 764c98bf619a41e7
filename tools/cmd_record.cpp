#include <cstdio>
#include <string>

#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/open_camera.h"
#include "tools/record_file.h"
#include "tools/record_sidecar.h"
#include "tools/record_summary.h"
#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

std::string summaryLine(const RecordSummary& summary) {
  std::string text;
  char part[96];
  for (const auto& entry : summary.streams()) {
    std::snprintf(part, sizeof part, "%s%s %llu frames %.1f MiB", text.empty() ? "" : ", ",
                  streamTypeName(entry.first).c_str(), static_cast<unsigned long long>(entry.second.frames),
                  static_cast<double>(entry.second.bytes) / (1024.0 * 1024.0));
    text += part;
  }
  return text.empty() ? "no frames yet" : text;
}

// Counts what the recorder has written so far by reading the file's tags,
// going on each time from the last whole entry. The recorder's writes are
// buffered, so the tail is often cut in the middle: that part is simply
// read again next time.
class FileProgress {
 public:
  explicit FileProgress(const std::string& path) : m_path(path) {}

  void update() {
    RecordFileReader reader;
    std::string error;
    if (!reader.open(m_path, m_position, &error)) return;
    RecordEntry entry;
    while (reader.next(&entry)) m_summary.add(entry.tag);
    m_position = reader.position();
    m_problem = reader.problem();
  }

  const RecordSummary& summary() const { return m_summary; }
  const RecordProblem& problem() const { return m_problem; }

 private:
  std::string m_path;
  uint64_t m_position = 0;
  RecordSummary m_summary;
  RecordProblem m_problem;
};

// What the recording needs from the module, undone in reverse on every way out.
class Recording {
 public:
  explicit Recording(SarvikBaseContext* context) : m_context(context), m_camera(context) {}
  ~Recording() { stop(); }

  int start(const CommandLine& line) {
    if (m_camera.open(line.address) != 0) return 1;
    int32_t status = m_context->createRecorder(line.file.c_str(), &m_recorder);
    if (status != 0) {
      m_recorder = nullptr;
      return reportFailure("createRecorder(" + line.file + ")", status);
    }
    for (uint32_t type : line.types) {
      VideoStream* stream = nullptr;
      // No callback: a recorder writes only frames of polled streams.
      if (m_camera.openStream(type, &stream) != 0) return 1;
      status = m_context->attachStreamToRecorder(m_recorder, stream);
      if (status != 0) return reportFailure("attachStreamToRecorder(" + streamTypeName(type) + ")", status);
    }
    status = m_context->startRecorder(m_recorder);
    if (status != 0) return reportFailure("startRecorder()", status);
    writeRecordSidecar(m_context, m_camera.device(), line.address, line.file, line.types);
    return 0;
  }

  // Stops and destroys the recorder, which flushes and closes the file, then
  // closes streams and camera. Returns the exit code of the teardown.
  int stop() {
    int exitCode = 0;
    if (m_recorder != nullptr) {
      int32_t status = m_context->stopRecorder(m_recorder);
      if (status != 0) exitCode = reportFailure("stopRecorder()", status);
      status = m_context->destroyRecorder(m_recorder);
      if (status != 0) exitCode = reportFailure("destroyRecorder()", status);
      m_recorder = nullptr;
    }
    if (m_camera.close() != 0) exitCode = 1;
    return exitCode;
  }

 private:
  SarvikBaseContext* m_context;
  OpenCamera m_camera;
  StreamRecorder* m_recorder = nullptr;
};

}  // namespace

int runRecord(const CommandLine& line) {
  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) return 1;
  installInterruptHandler();
  int exitCode;
  {
    Recording recording(sdk.context());
    exitCode = recording.start(line);
    if (exitCode == 0) {
      std::printf("recording from %s into %s; %s\n", line.address.c_str(), line.file.c_str(),
                  line.seconds > 0 ? "stops by itself" : "Ctrl-C stops");
      // The recorder writes on the streams' own threads as long as nobody
      // takes their frames; this thread only watches the file grow.
      FileProgress progress(line.file);
      RunClock clock(line.seconds);
      while (clock.tick(1000)) {
        progress.update();
        std::printf("[%6.1fs] %s\n", clock.elapsedSeconds(), summaryLine(progress.summary()).c_str());
      }
      exitCode = recording.stop();
      progress.update();
      std::printf("recorded: %s\n", summaryLine(progress.summary()).c_str());
      if (progress.problem().kind != RecordDamage::kNone) {
        std::printf("the file ends damaged: %s\n", progress.problem().describe().c_str());
        if (exitCode == 0) exitCode = 1;
      }
    }
  }
  return finishSession(&sdk, exitCode);
}

}  // namespace tools
}  // namespace sarvik
