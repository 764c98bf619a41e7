// Reads and steers the in-memory log plug-in from a test.
//
// MemoryLog dlopens libSarvikTestMemoryLog.so by absolute path. The dynamic
// loader keeps one instance per file, so when the module binds the same file
// (bindLogDriverFrom with SARVIK_MEMORY_LOG_PATH, or a symbolic link named
// libSarvikLogDriver.so beside a module under test) both see the same records.
// A copy of the file would be a second instance: link, don't copy.
//
// Keep a MemoryLog alive for as long as the records are wanted: the plug-in
// forgets them when the last handle to it is closed.
#ifndef SARVIK_TESTS_SUPPORT_MEMORY_LOG_H
#define SARVIK_TESTS_SUPPORT_MEMORY_LOG_H

#include <dlfcn.h>

#include <cstdint>
#include <string>
#include <vector>

#include "plugins/memory_log/memory_log_api.h"

#define SARVIK_MEMORY_LOG_PATH SARVIK_BUILD_LIB_DIR "/testplugins/libSarvikTestMemoryLog.so"

namespace sarvik_test {

struct LogRecord {
  std::string exportName;  // "sarvikLogSimplify" for every record of the module
  std::string tag;
  int32_t level;
  std::string text;
};

struct LogConfigCall {
  std::string exportName;
  int64_t argument;  // bool, level or size; 0 for a path
  bool hasText;      // a non-null path was given
  std::string text;
};

class MemoryLog {
 public:
  explicit MemoryLog(const char* path = SARVIK_MEMORY_LOG_PATH) : m_path(path) {
    m_handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) return;
    m_recordCount = symbol<SarvikTestLogCountFn>(SARVIK_TEST_LOG_RECORD_COUNT);
    m_recordAt = symbol<SarvikTestLogRecordAtFn>(SARVIK_TEST_LOG_RECORD_AT);
    m_configCount = symbol<SarvikTestLogCountFn>(SARVIK_TEST_LOG_CONFIG_COUNT);
    m_configAt = symbol<SarvikTestLogConfigAtFn>(SARVIK_TEST_LOG_CONFIG_AT);
    m_clear = symbol<SarvikTestLogVoidFn>(SARVIK_TEST_LOG_CLEAR);
    m_reset = symbol<SarvikTestLogVoidFn>(SARVIK_TEST_LOG_RESET);
    m_setFilePathResult = symbol<SarvikTestLogSetResultFn>(SARVIK_TEST_LOG_SET_FILE_PATH_RESULT);
  }
  ~MemoryLog() {
    if (m_handle != nullptr) dlclose(m_handle);
  }
  MemoryLog(const MemoryLog&) = delete;
  MemoryLog& operator=(const MemoryLog&) = delete;

  // False when the plug-in could not be loaded; every other call then
  // answers as for an empty log.
  bool loaded() const { return m_handle != nullptr && m_recordAt != nullptr && m_configAt != nullptr; }
  const std::string& path() const { return m_path; }

  std::vector<LogRecord> records() const {
    std::vector<LogRecord> out;
    if (!loaded()) return out;
    SarvikTestLogRecord* raw = new SarvikTestLogRecord;
    for (int32_t i = 0; m_recordAt(i, raw) == 0; ++i) {
      out.push_back(LogRecord{raw->exportName, raw->tag, raw->level, raw->text});
    }
    delete raw;
    return out;
  }

  std::vector<LogConfigCall> configCalls() const {
    std::vector<LogConfigCall> out;
    if (!loaded()) return out;
    SarvikTestLogConfigCall* raw = new SarvikTestLogConfigCall;
    for (int32_t i = 0; m_configAt(i, raw) == 0; ++i) {
      out.push_back(LogConfigCall{raw->exportName, raw->argument, raw->hasText != 0, raw->text});
    }
    delete raw;
    return out;
  }

  size_t recordCount() const { return loaded() ? static_cast<size_t>(m_recordCount()) : 0; }
  size_t configCount() const { return loaded() ? static_cast<size_t>(m_configCount()) : 0; }

  // Records at `level` whose text is exactly `text`.
  size_t count(int32_t level, const std::string& text) const {
    size_t n = 0;
    for (const LogRecord& r : records()) n += (r.level == level && r.text == text) ? 1 : 0;
    return n;
  }
  bool contains(int32_t level, const std::string& text) const { return count(level, text) > 0; }

  // Records whose text contains `part`, at any level.
  size_t countContaining(const std::string& part) const {
    size_t n = 0;
    for (const LogRecord& r : records()) n += r.text.find(part) != std::string::npos ? 1 : 0;
    return n;
  }

  // Forgets records and configuration calls.
  void clear() {
    if (m_clear != nullptr) m_clear();
  }
  // clear(), and the plug-in's level and path answer back to their defaults.
  void reset() {
    if (m_reset != nullptr) m_reset();
  }
  // What sarvikLogSetFilePathEntry answers from now on.
  void setFilePathResult(int32_t result) {
    if (m_setFilePathResult != nullptr) m_setFilePathResult(result);
  }

 private:
  template <typename Fn>
  Fn symbol(const char* name) {
    return reinterpret_cast<Fn>(dlsym(m_handle, name));
  }

  std::string m_path;
  void* m_handle = nullptr;
  SarvikTestLogCountFn m_recordCount = nullptr;
  SarvikTestLogRecordAtFn m_recordAt = nullptr;
  SarvikTestLogCountFn m_configCount = nullptr;
  SarvikTestLogConfigAtFn m_configAt = nullptr;
  SarvikTestLogVoidFn m_clear = nullptr;
  SarvikTestLogVoidFn m_reset = nullptr;
  SarvikTestLogSetResultFn m_setFilePathResult = nullptr;
};

}  // namespace sarvik_test

#endif  // SARVIK_TESTS_SUPPORT_MEMORY_LOG_H
