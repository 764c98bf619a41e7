// A log plug-in for tests: it filters nothing, prints nothing, and keeps every
// record and every configuration call for the test to read back.
//
// Built once more in tests/logging with SARVIK_TEST_LOG_WITHOUT_GLOBAL_LEVEL,
// as a plug-in that lacks exactly one export.
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "memory_log_api.h"
#include "sarvik/SarvikLogDriver.h"

#define SARVIK_TEST_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Kept as strings: stress tests may leave many thousands of records.
struct KeptRecord {
  std::string exportName;
  std::string tag;
  bool tagIsNull;
  int32_t level;
  std::string text;
};

struct KeptCall {
  std::string exportName;
  int64_t argument;
  bool hasText;
  std::string text;
};

std::mutex g_lock;
std::vector<KeptRecord> g_records;  // GUARDED_BY(g_lock)
std::vector<KeptCall> g_calls;      // GUARDED_BY(g_lock)
int32_t g_filePathResult = 0;       // GUARDED_BY(g_lock)
int32_t g_level = 3;                // GUARDED_BY(g_lock)

int32_t keepRecord(const char* exportName, const char* tag, int32_t level, const char* text) {
  KeptRecord record{exportName, tag ? tag : "", tag == nullptr, level, text ? text : ""};
  int32_t length = static_cast<int32_t>(record.text.size());
  std::lock_guard<std::mutex> guard(g_lock);
  g_records.push_back(std::move(record));
  return length;
}

void keepCall(const char* exportName, int64_t argument, const char* text) {
  KeptCall call{exportName, argument, text != nullptr, text ? text : ""};
  std::lock_guard<std::mutex> guard(g_lock);
  g_calls.push_back(std::move(call));
}

}  // namespace

SARVIK_TEST_EXPORT int32_t sarvikLogWrite(const char* moduleTag, int32_t level, const char* format, ...) {
  char text[4096] = {0};
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof(text), format, args);
  va_end(args);
  return keepRecord("sarvikLogWrite", moduleTag, level, text);
}

SARVIK_TEST_EXPORT int32_t sarvikLogSimplify(const char* moduleTag, int32_t level, const char* text) {
  return keepRecord("sarvikLogSimplify", moduleTag, level, text);
}

SARVIK_TEST_EXPORT int32_t sarvikLogErrno(const char* moduleTag, int32_t level, int32_t, const char* text) {
  return keepRecord("sarvikLogErrno", moduleTag, level, text);
}

SARVIK_TEST_EXPORT int32_t sarvikLogConfigFileWriter(bool enable) {
  keepCall("sarvikLogConfigFileWriter", enable, nullptr);
  return 0;
}

SARVIK_TEST_EXPORT int32_t sarvikLogConfigConsoleWriter(bool enable) {
  keepCall("sarvikLogConfigConsoleWriter", enable, nullptr);
  return 0;
}

SARVIK_TEST_EXPORT int32_t sarvikLogSetFilePathEntry(const char* path) {
  keepCall("sarvikLogSetFilePathEntry", 0, path);
  std::lock_guard<std::mutex> guard(g_lock);
  return g_filePathResult;
}

SARVIK_TEST_EXPORT int32_t sarvikLogSetlogLevel(int32_t level) {
  keepCall("sarvikLogSetlogLevel", level, nullptr);
  std::lock_guard<std::mutex> guard(g_lock);
  g_level = level;
  return 0;
}

SARVIK_TEST_EXPORT int32_t sarvikLogSetMaxSize(uint64_t bytes) {
  keepCall("sarvikLogSetMaxSize", static_cast<int64_t>(bytes), nullptr);
  return 0;
}

#ifndef SARVIK_TEST_LOG_WITHOUT_GLOBAL_LEVEL
SARVIK_TEST_EXPORT int32_t sarvikLogGetGlobalLevel() {
  keepCall("sarvikLogGetGlobalLevel", 0, nullptr);
  std::lock_guard<std::mutex> guard(g_lock);
  return g_level;
}
#endif

SARVIK_TEST_EXPORT int32_t sarvikTestLogRecordCount() {
  std::lock_guard<std::mutex> guard(g_lock);
  return static_cast<int32_t>(g_records.size());
}

SARVIK_TEST_EXPORT int32_t sarvikTestLogRecordAt(int32_t index, SarvikTestLogRecord* out) {
  std::lock_guard<std::mutex> guard(g_lock);
  if (out == nullptr || index < 0 || static_cast<size_t>(index) >= g_records.size()) return -1;
  const KeptRecord& record = g_records[index];
  *out = SarvikTestLogRecord{};
  snprintf(out->exportName, sizeof(out->exportName), "%s", record.exportName.c_str());
  snprintf(out->tag, sizeof(out->tag), "%s", record.tag.c_str());
  out->tagIsNull = record.tagIsNull;
  out->level = record.level;
  snprintf(out->text, sizeof(out->text), "%s", record.text.c_str());
  return 0;
}

SARVIK_TEST_EXPORT int32_t sarvikTestLogConfigCount() {
  std::lock_guard<std::mutex> guard(g_lock);
  return static_cast<int32_t>(g_calls.size());
}

SARVIK_TEST_EXPORT int32_t sarvikTestLogConfigAt(int32_t index, SarvikTestLogConfigCall* out) {
  std::lock_guard<std::mutex> guard(g_lock);
  if (out == nullptr || index < 0 || static_cast<size_t>(index) >= g_calls.size()) return -1;
  const KeptCall& call = g_calls[index];
  *out = SarvikTestLogConfigCall{};
  snprintf(out->exportName, sizeof(out->exportName), "%s", call.exportName.c_str());
  out->argument = call.argument;
  out->hasText = call.hasText;
  snprintf(out->text, sizeof(out->text), "%s", call.text.c_str());
  return 0;
}

SARVIK_TEST_EXPORT void sarvikTestLogClear() {
  std::lock_guard<std::mutex> guard(g_lock);
  g_records.clear();
  g_calls.clear();
}

SARVIK_TEST_EXPORT void sarvikTestLogReset() {
  std::lock_guard<std::mutex> guard(g_lock);
  g_records.clear();
  g_calls.clear();
  g_filePathResult = 0;
  g_level = 3;
}

SARVIK_TEST_EXPORT void sarvikTestLogSetFilePathResult(int32_t result) {
  std::lock_guard<std::mutex> guard(g_lock);
  g_filePathResult = result;
}
