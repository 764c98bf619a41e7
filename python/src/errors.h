// Turning the module's statuses into Python exceptions. Nothing of the
// package returns a bare status: every failure raises sarvik.Error (or
// sarvik.Timeout for a time-out) carrying the status and the last-error code.
#ifndef SARVIK_PYTHON_ERRORS_H
#define SARVIK_PYTHON_ERRORS_H

#include <cstdint>
#include <string>

namespace sarvik_py {

// Which kind of operation failed: the module documents a last-error code per
// status and operation, and these are the kinds whose codes differ.
enum class Op {
  kOther,
  kDevice,       // an operation behind the device guard
  kOpenDevice,
  kOpenStream,
  kStream,       // an operation behind the stream guard
  kReadFrame,
  kWait,
  kRecorder,     // an operation behind the recorder guard
};

// The last-error code the module sets for `status` at an operation of kind
// `op`; 0 where it sets none. The module has no call that reads the code
// back, so this table (from the module's documentation) stands in for it.
uint32_t documentedLastError(Op op, int32_t status);

// Raises sarvik.Timeout for -11 and sarvik.Error otherwise, with a message
// "<what>: <status name> (status N)". Needs the GIL.
[[noreturn]] void throwStatus(Op op, int32_t status, const std::string& what);

// Raises sarvik.Error without a status: a failure of the binding itself.
[[noreturn]] void throwError(const std::string& message);

// Logs the Python exception now pending (from a callback) with its traceback
// on the "sarvik" logger and clears it: an exception in a callback must never
// travel into the module's thread. Needs the GIL.
void logPendingCallbackError(const char* where);

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_ERRORS_H
