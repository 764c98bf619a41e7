#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/mode_choice.h"
#include "tools/open_camera.h"
#include "tools/output_file.h"
#include "tools/record_file.h"
#include "tools/record_sidecar.h"
#include "tools/record_summary.h"
#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

namespace {

// Ctrl-C, the limits and the disk are looked at this often, so that a run
// stops at about the next frame.
constexpr uint32_t kTickMs = 20;
constexpr uint64_t kProgressUs = 1000000;
// Room the file system must keep beyond the next entry before we call it full.
constexpr uint64_t kDiskSlack = 64 * 1024;

std::string summaryLine(const RecordSummary& summary) {
  std::string text;
  char part[160];
  for (const auto& entry : summary.streams()) {
    const StreamSummary& s = entry.second;
    std::snprintf(part, sizeof part, "%s%s %llu frames %llu dropped %.1f MiB", text.empty() ? "" : ", ",
                  streamTypeName(entry.first).c_str(), static_cast<unsigned long long>(s.frames),
                  static_cast<unsigned long long>(s.missing), static_cast<double>(s.bytes) / (1024.0 * 1024.0));
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
    while (reader.next(&entry)) {
      m_summary.add(entry.tag);
      m_largestEntry = std::max<uint64_t>(m_largestEntry, kRecordTagBytes + uint64_t{entry.tag.dataSize});
    }
    m_position = reader.position();
    m_fileSize = reader.fileSize();
    m_problem = reader.problem();
  }

  const RecordSummary& summary() const { return m_summary; }
  const RecordProblem& problem() const { return m_problem; }
  uint64_t position() const { return m_position; }
  uint64_t fileSize() const { return m_fileSize; }
  uint64_t largestEntry() const { return m_largestEntry; }

 private:
  std::string m_path;
  uint64_t m_position = 0;
  uint64_t m_fileSize = 0;
  uint64_t m_largestEntry = 0;
  RecordSummary m_summary;
  RecordProblem m_problem;
};

// What the recording needs from the module, undone in reverse on every way out.
class Recording {
 public:
  explicit Recording(SarvikBaseContext* context) : m_context(context), m_camera(context) {}
  ~Recording() { stop(); }

  int start(const CommandLine& line, const std::string& writingPath) {
    if (m_camera.open(line.camera) != 0) return 1;
    if (applyModes(m_context, m_camera.device(), line.modeRequests) != 0) return 1;
    int32_t status = m_context->createRecorder(writingPath.c_str(), &m_recorder);
    if (status != 0 || m_recorder == nullptr) {
      m_recorder = nullptr;
      return reportFailure("creating the recorder for " + line.file, status);
    }
    for (uint32_t type : line.types) {
      VideoStream* stream = nullptr;
      // No callback: a recorder writes only frames of polled streams.
      if (m_camera.openStream(type, &stream) != 0) return 1;
      status = m_context->attachStreamToRecorder(m_recorder, stream);
      if (status != 0) return reportFailure("recording the " + streamTypeName(type) + " stream", status);
    }
    status = m_context->startRecorder(m_recorder);
    if (status != 0) return reportFailure("starting the recorder", status);
    // The sidecar names the camera while it is open; playback reads it.
    writeRecordSidecar(m_context, m_camera.device(), m_camera.address(), line.file, line.types);
    return 0;
  }

  // Stops and destroys the recorder, which flushes and closes the file, then
  // closes streams and camera. Returns the exit code of the teardown.
  int stop() {
    int exitCode = 0;
    if (m_recorder != nullptr) {
      int32_t status = m_context->stopRecorder(m_recorder);
      if (status != 0) exitCode = reportFailure("stopping the recorder", status);
      status = m_context->destroyRecorder(m_recorder);
      if (status != 0) exitCode = reportFailure("closing the record file", status);
      m_recorder = nullptr;
    }
    if (m_camera.close() != 0) exitCode = 1;
    return exitCode;
  }

  const std::string& address() const { return m_camera.address(); }

 private:
  SarvikBaseContext* m_context;
  OpenCamera m_camera;
  StreamRecorder* m_recorder = nullptr;
};

enum class StopReason { kNone, kInterrupted, kTimeLimit, kSizeLimit, kDiskFull, kFileSizeLimit, kUnplugged };

// Why the file cannot take the next entry, or kNone. Writes are buffered
// in the module, so a failed write would only show long after; the room
// left says it before the write is tried.
StopReason lookAtRoom(const std::string& path, const FileProgress& progress, uint64_t maxBytes) {
  const uint64_t next = std::max<uint64_t>(progress.largestEntry(), kRecordTagBytes);
  struct stat st;
  const uint64_t size = stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : progress.fileSize();
  if (maxBytes != 0 && size + next > maxBytes) return StopReason::kSizeLimit;
  rlimit limit;
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && size + next > limit.rlim_cur) {
    return StopReason::kFileSizeLimit;
  }
  const size_t slash = path.find_last_of('/');
  const std::string folder = slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
  struct statvfs fs;
  if (statvfs(folder.c_str(), &fs) == 0) {
    // Root may use the blocks kept back for it; anyone else may not.
    const uint64_t blocks = geteuid() == 0 ? fs.f_bfree : fs.f_bavail;
    if (blocks * static_cast<uint64_t>(fs.f_frsize) < next + kDiskSlack) return StopReason::kDiskFull;
  }
  return StopReason::kNone;
}

const char* reasonText(StopReason reason) {
  switch (reason) {
    case StopReason::kInterrupted: return "interrupted";
    case StopReason::kTimeLimit: return "time limit reached";
    case StopReason::kSizeLimit: return "size limit reached";
    case StopReason::kDiskFull: return "no space left on device";
    case StopReason::kFileSizeLimit: return "file size limit (ulimit -f) reached";
    case StopReason::kUnplugged: return "the camera was unplugged";
    case StopReason::kNone: break;
  }
  return "stopped";
}

bool isFailure(StopReason reason) {
  return reason == StopReason::kDiskFull || reason == StopReason::kFileSizeLimit || reason == StopReason::kUnplugged;
}

// Cuts a file back to its last whole entry (and under `maxBytes`, when
// set), so that what is kept reads clean. Returns the bytes cut.
uint64_t cutToWholeEntries(const std::string& path, uint64_t maxBytes) {
  RecordFileReader reader;
  std::string error;
  if (!reader.open(path, 0, &error)) return 0;
  RecordEntry entry;
  uint64_t keep = 0;
  while (reader.next(&entry)) {
    const uint64_t end = entry.offset + kRecordTagBytes + entry.tag.dataSize;
    if (maxBytes != 0 && end > maxBytes) break;
    keep = end;
  }
  if (keep >= reader.fileSize()) return 0;
  if (truncate(path.c_str(), static_cast<off_t>(keep)) != 0) return 0;
  return reader.fileSize() - keep;
}

// The recording is complete and in its place under its final name: the one
// spot for anything written beside a finished recording.
void recordingComplete(const std::string& path) { (void)path; }

// Moves the finished temporary into place with the permissions the user's
// umask gives a new file. False with *error set.
bool publishRecording(const std::string& temporary, const std::string& path, std::string* error) {
  const mode_t mask = umask(0);
  umask(mask);
  chmod(temporary.c_str(), 0666 & ~mask);
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    *error = "cannot rename the recording to " + path + ": " + std::strerror(errno);
    return false;
  }
  recordingComplete(path);
  return true;
}

}  // namespace

int runRecord(const CommandLine& line) {
  std::string error;
  if (!checkOutputPath(line.file, line.force, &error)) return reportError(error);
  // A device or FIFO is written in place; anything else under a temporary
  // name that becomes the real one only when the recording is complete.
  const bool inPlace = isSpecialFile(line.file);
  std::string writing = line.file;
  if (!inPlace) {
    writing = temporaryNameFor(line.file);
    const int fd = mkstemps(&writing[0], 5);
    if (fd < 0) return reportError("cannot write " + line.file + ": " + std::strerror(errno));
    close(fd);
  }
  auto dropTemporary = [&] {
    if (!inPlace) unlink(writing.c_str());
  };

  SdkSession sdk;
  if (!sdk.start(line.modulePath, true)) {
    dropTemporary();
    return 1;
  }
  installInterruptHandler();
  // Events only tell of an unplug; failing to watch costs that report alone.
  const bool watching = sdk.watchDevices() == 0;
  int exitCode;
  StopReason reason = StopReason::kNone;
  FileProgress progress(writing);
  {
    Recording recording(sdk.context());
    exitCode = recording.start(line, writing);
    if (exitCode == 0) {
      std::printf("recording from %s into %s; %s\n", recording.address().c_str(), line.file.c_str(),
                  line.seconds > 0 || line.maxBytes > 0 ? "stops by itself or on Ctrl-C" : "Ctrl-C stops");
      // The recorder writes on the streams' own threads as long as nobody
      // takes their frames; this thread only watches the file grow.
      RunClock clock(line.seconds);
      uint64_t nextLine = kProgressUs;
      while (reason == StopReason::kNone) {
        DeviceEvent event;
        if (watching && sdk.events().waitEvent(clock.remainingMs(kTickMs), &event)) {
          if (event.state == 1 && event.address == recording.address()) reason = StopReason::kUnplugged;
        } else if (!watching) {
          clock.tick(kTickMs);
        }
        if (interruptRequested()) reason = StopReason::kInterrupted;
        else if (clock.over()) reason = StopReason::kTimeLimit;
        if (reason != StopReason::kNone) break;
        if (!inPlace) {
          progress.update();
          reason = lookAtRoom(writing, progress, line.maxBytes);
        }
        const double elapsed = clock.elapsedSeconds();
        if (elapsed * 1e6 >= static_cast<double>(nextLine)) {
          nextLine += kProgressUs;
          std::printf("[%6.1fs] %s\n", elapsed, inPlace ? "recording" : summaryLine(progress.summary()).c_str());
        }
      }
      exitCode = recording.stop();
    }
  }
  exitCode = finishSession(&sdk, exitCode);
  if (reason == StopReason::kNone) {
    dropTemporary();
    return exitCode != 0 ? exitCode : 1;
  }
  if (inPlace) {
    std::printf("recorded into %s until %s\n", line.file.c_str(), reasonText(reason));
    if (isFailure(reason)) return reportError("recording into " + line.file + " stopped: " + reasonText(reason));
    return exitCode;
  }

  // A full disk or a limit usually leaves a frame half written: cut it off,
  // so that the file holds only whole frames and reads clean.
  const uint64_t cut = cutToWholeEntries(writing, line.maxBytes);
  FileProgress final(writing);
  final.update();
  std::printf("recorded: %s\n", summaryLine(final.summary()).c_str());
  if (final.summary().entries() == 0) {
    dropTemporary();
    return reportError(std::string("nothing was recorded (") + reasonText(reason) + "); no file written");
  }
  if (!publishRecording(writing, line.file, &error)) {
    dropTemporary();
    return reportError(error);
  }
  std::string note = std::string("stopped: ") + reasonText(reason);
  if (cut > 0) note += "; a partly written frame at the end was cut off";
  if (isFailure(reason)) {
    return reportError(note + "; " + line.file + " keeps the " + std::to_string(final.summary().entries()) +
                       " whole frames recorded before");
  }
  std::printf("saved %s (%llu bytes); %s\n", line.file.c_str(), static_cast<unsigned long long>(final.position()),
              note.c_str());
  return exitCode;
}

}  // namespace tools
}  // namespace sarvik
