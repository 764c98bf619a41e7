#include "log_sink.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace sarvik_log {
namespace {

constexpr int32_t kDefaultLevel = 3;
constexpr int32_t kLowestLevel = 0;
constexpr int32_t kHighestLevel = 4;
constexpr char kDefaultFileName[] = "sarvikLog.log";
constexpr size_t kLineSize = 2048 + 256;

const char* const kLevelNames[] = {"FINEST", "TRACE", "WARNING", "ERROR", "INFO"};

// Without a path from the client, the file lies beside the plug-in, where the
// module also keeps its settings file.
std::string defaultFilePath() {
  Dl_info info;
  std::memset(&info, 0, sizeof(info));
  if (dladdr(reinterpret_cast<void*>(&defaultFilePath), &info) == 0 || info.dli_fname == nullptr) {
    return kDefaultFileName;
  }
  std::string path(info.dli_fname);
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string(kDefaultFileName)
                                    : path.substr(0, slash + 1) + kDefaultFileName;
}

// "2024-05-01 10:22:03.123 [12345] [tag] ERROR: " into `out`; its length.
size_t formatPrefix(char* out, size_t size, const char* tag, int32_t level) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  tm local;
  localtime_r(&now.tv_sec, &local);
  char stamp[32];
  strftime(stamp, sizeof(stamp), "%Y-%m-%d %H:%M:%S", &local);
  long tid = syscall(SYS_gettid);
  int n;
  if (level >= kLowestLevel && level <= kHighestLevel) {
    n = snprintf(out, size, "%s.%03ld [%ld] [%s] %s: ", stamp, now.tv_nsec / 1000000L, tid,
                 tag ? tag : "", kLevelNames[level]);
  } else {
    n = snprintf(out, size, "%s.%03ld [%ld] [%s] LEVEL%d: ", stamp, now.tv_nsec / 1000000L, tid,
                 tag ? tag : "", level);
  }
  return n < 0 ? 0 : (static_cast<size_t>(n) < size ? static_cast<size_t>(n) : size - 1);
}

}  // namespace

LogSink::LogSink()
    : m_console(true), m_fileOutput(false), m_level(kDefaultLevel), m_levelSet(0), m_pathPinned(false),
      m_maxSize(0), m_file(nullptr), m_fileSize(0) {
  m_levelSet = levelSetFromText(getenv("SARVIK_LOG_LEVELS"));
  const char* path = getenv("SARVIK_LOG_FILE");
  if (path != nullptr && path[0] != '\0') {
    m_filePath = path;
    m_fileOutput = true;
    m_console = false;
    m_pathPinned = true;
  }
}

uint32_t LogSink::levelSetFromText(const char* text) {
  if (text == nullptr) return 0;
  uint32_t set = 0;
  bool expectDigit = true;
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c == ' ') continue;
    if (expectDigit && *c >= '0' && *c <= '4') {
      set |= 1u << (*c - '0');
      expectDigit = false;
    } else if (!expectDigit && *c == ',') {
      expectDigit = true;
    } else {
      return 0;
    }
  }
  // A trailing comma is as wrong as any other malformed list.
  return expectDigit ? 0 : set;
}

bool LogSink::passes(int32_t level) const {
  if (m_levelSet != 0) return level >= kLowestLevel && level <= kHighestLevel && (m_levelSet >> level & 1u) != 0;
  return level >= m_level;
}

LogSink::~LogSink() { closeFile(); }

int32_t LogSink::write(const char* tag, int32_t level, const char* text) {
  if (text == nullptr) return -1;
  // Formatted outside the lock: only the output itself needs ordering.
  char prefix[160];
  size_t prefixLength = formatPrefix(prefix, sizeof(prefix), tag, level);
  std::string line;
  line.reserve(prefixLength + std::strlen(text) + 1);
  line.append(prefix, prefixLength).append(text);
  if (line.empty() || line.back() != '\n') line.push_back('\n');

  std::lock_guard<std::mutex> guard(m_lock);
  if (!passes(level)) return 0;
  if (m_console) {
    fwrite(line.data(), 1, line.size(), stderr);
  }
  if (m_fileOutput && ensureFileOpen()) {
    rollOver(line.size());
    if (m_file != nullptr) {
      m_fileSize += fwrite(line.data(), 1, line.size(), m_file);
      fflush(m_file);
    }
  }
  return 0;
}

void LogSink::setConsoleOutput(bool enable) {
  std::lock_guard<std::mutex> guard(m_lock);
  if (!m_pathPinned) m_console = enable;
}

void LogSink::setFileOutput(bool enable) {
  std::lock_guard<std::mutex> guard(m_lock);
  if (!m_pathPinned) m_fileOutput = enable;
}

int32_t LogSink::setFilePath(const char* path) {
  if (path == nullptr || path[0] == '\0') return -1;
  if (m_pathPinned) return 0;
  FILE* file = fopen(path, "a");
  if (file == nullptr) return -1;
  fseeko(file, 0, SEEK_END);
  off_t size = ftello(file);

  std::lock_guard<std::mutex> guard(m_lock);
  closeFile();
  m_file = file;
  m_filePath = path;
  m_fileSize = size < 0 ? 0 : static_cast<uint64_t>(size);
  return 0;
}

int32_t LogSink::setLevel(int32_t level) {
  if (level < kLowestLevel || level > kHighestLevel) return -1;
  std::lock_guard<std::mutex> guard(m_lock);
  m_level = level;
  return 0;
}

int32_t LogSink::level() {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_level;
}

void LogSink::setMaxSize(uint64_t bytes) {
  std::lock_guard<std::mutex> guard(m_lock);
  m_maxSize = bytes;
}

bool LogSink::ensureFileOpen() {
  if (m_file != nullptr) return true;
  if (m_filePath.empty()) m_filePath = defaultFilePath();
  m_file = fopen(m_filePath.c_str(), "a");
  if (m_file == nullptr) return false;
  fseeko(m_file, 0, SEEK_END);
  off_t size = ftello(m_file);
  m_fileSize = size < 0 ? 0 : static_cast<uint64_t>(size);
  return true;
}

void LogSink::rollOver(size_t incoming) {
  if (m_maxSize == 0 || m_fileSize == 0 || m_fileSize + incoming <= m_maxSize) return;
  closeFile();
  std::string older = m_filePath + ".1";
  // A failed rename leaves the old lines in place; the file still starts
  // anew, so the limit holds either way.
  rename(m_filePath.c_str(), older.c_str());
  m_file = fopen(m_filePath.c_str(), "w");
  m_fileSize = 0;
}

void LogSink::closeFile() {
  if (m_file != nullptr) fclose(m_file);
  m_file = nullptr;
  m_fileSize = 0;
}

}  // namespace sarvik_log
