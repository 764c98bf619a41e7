// The one sink behind the exports of the log plug-in.
//
// A record is written as one line:
//   2024-05-01 10:22:03.123 [12345] [SarvikCommonDriver] ERROR: text
// with the local time, the kernel thread id, the module tag and the level's
// name; a line end is added only when the text lacks one. A record passes
// when its level is at or above the threshold (default 3, so errors and
// milestones). It goes to stderr when console output is on (default) and to
// the log file when file output is on (default off).
//
// The environment can take the choice away from the settings file for one
// run of a program, which is how a command-line tool keeps the console quiet
// without editing sarvikLog.ini (read once, when the plug-in is loaded):
//   SARVIK_LOG_LEVELS  comma-separated levels, e.g. "2,3": exactly these
//                      pass. A set, not a threshold, because milestones (4)
//                      sit above errors and a threshold cannot keep warnings
//                      while dropping milestones. Values other than 0..4
//                      make the whole variable ignored.
//   SARVIK_LOG_FILE    records go to this file (appended) instead of stderr.
// While either is in force, the matching settings calls (level, console,
// file, path) still answer 0 but change nothing.
//
// All operations are thread-safe: one mutex orders every record and every
// change of configuration, so lines never interleave.
#ifndef SARVIK_PLUGIN_LOG_SINK_H
#define SARVIK_PLUGIN_LOG_SINK_H

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

namespace sarvik_log {

class LogSink {
 public:
  LogSink();
  ~LogSink();
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;

  // 0 when the record was written or filtered out; -1 for a null text.
  int32_t write(const char* tag, int32_t level, const char* text);

  void setConsoleOutput(bool enable);
  void setFileOutput(bool enable);

  // Opens `path` for appending and makes it the log file. 0 on success; -1
  // when `path` is null or empty or the file can't be opened, and then the
  // file in use before stays in use.
  int32_t setFilePath(const char* path);

  // Levels 0..4 are accepted; anything else gives -1 and changes nothing.
  int32_t setLevel(int32_t level);
  int32_t level();

  // Size limit of the log file in bytes; 0 means none. A line that would
  // take the file past it first rolls the file over to "<path>.1",
  // replacing any older one, and starts the file anew.
  void setMaxSize(uint64_t bytes);

 private:
  // Bit n set: level n passes. 0: the threshold decides.
  static uint32_t levelSetFromText(const char* text);

  bool passes(int32_t level) const;

  // REQUIRES: m_lock held.
  bool ensureFileOpen();
  void rollOver(size_t incoming);
  void closeFile();

  std::mutex m_lock;
  bool m_console;
  bool m_fileOutput;
  int32_t m_level;
  uint32_t m_levelSet;  // from SARVIK_LOG_LEVELS; 0: none
  bool m_pathPinned;    // SARVIK_LOG_FILE is in force; set once, before any call
  uint64_t m_maxSize;
  std::string m_filePath;  // GUARDED_BY(m_lock); empty: default file
  FILE* m_file;            // GUARDED_BY(m_lock)
  uint64_t m_fileSize;     // GUARDED_BY(m_lock)
};

}  // namespace sarvik_log

#endif  // SARVIK_PLUGIN_LOG_SINK_H
