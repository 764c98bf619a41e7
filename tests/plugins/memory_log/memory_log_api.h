// The test-facing C interface of libSarvikTestMemoryLog.so, a log plug-in
// that keeps everything it is told in memory. Tests use it through
// tests/support/memory_log.h.
#ifndef SARVIK_TESTS_MEMORY_LOG_API_H
#define SARVIK_TESTS_MEMORY_LOG_API_H

#include <cstdint>

extern "C" {

// One record, from sarvikLogSimplify, sarvikLogWrite or sarvikLogErrno. Those
// exports answer with the length of the text they kept, so that a test can
// tell the plug-in's result from a silent 0.
struct SarvikTestLogRecord {
  char exportName[40];
  char tag[64];
  int32_t tagIsNull;
  int32_t level;
  char text[4096];  // longer texts are cut; the module sends at most 2046
};

// One call of a configuring export (or of sarvikLogGetGlobalLevel), in order.
struct SarvikTestLogConfigCall {
  char exportName[40];
  int64_t argument;  // bool, level or size; 0 for a path or no argument
  int32_t hasText;   // 1 for a non-null path argument
  char text[4096];
};

typedef int32_t (*SarvikTestLogCountFn)();
typedef int32_t (*SarvikTestLogRecordAtFn)(int32_t index, SarvikTestLogRecord* out);
typedef int32_t (*SarvikTestLogConfigAtFn)(int32_t index, SarvikTestLogConfigCall* out);
typedef void (*SarvikTestLogVoidFn)();
typedef void (*SarvikTestLogSetResultFn)(int32_t result);
}

// Export names, for dlsym.
#define SARVIK_TEST_LOG_RECORD_COUNT "sarvikTestLogRecordCount"
#define SARVIK_TEST_LOG_RECORD_AT "sarvikTestLogRecordAt"
#define SARVIK_TEST_LOG_CONFIG_COUNT "sarvikTestLogConfigCount"
#define SARVIK_TEST_LOG_CONFIG_AT "sarvikTestLogConfigAt"
// Forgets records and configuration calls.
#define SARVIK_TEST_LOG_CLEAR "sarvikTestLogClear"
// Also puts back the level (3) and the answer of sarvikLogSetFilePathEntry (0).
#define SARVIK_TEST_LOG_RESET "sarvikTestLogReset"
// What sarvikLogSetFilePathEntry returns from now on.
#define SARVIK_TEST_LOG_SET_FILE_PATH_RESULT "sarvikTestLogSetFilePathResult"

#endif  // SARVIK_TESTS_MEMORY_LOG_API_H
