// Names of the module's statuses and log levels, and one line of text for
// each status, so that no program has to show a bare number.
#ifndef SARVIK_STATUS_H
#define SARVIK_STATUS_H

#include <cstdint>

#include "sarvik/SarvikCamera.h"

// Statuses returned by the module's operations. A plug-in's status passes
// through unchanged, so an operation may also return one of the transports'
// codes (SarvikCamera.h) or another plug-in's.
enum : int32_t {
  kStatusOk = 0,
  kStatusFailed = -1,           // failure without a number of its own
  kStatusNotInitialized = -2,   // not initialised (or shutting down), or stream not started
  kStatusInvalidDevice = -3,    // device unknown or not open
  kStatusBadArgument = -4,      // bad argument or address
  kStatusListFull = -5,         // 60 streams or recorders, or nothing queued
  kStatusNoSource = -8,         // the plug-in gave no stream object; no colour frame to save
  kStatusDisconnected = -9,     // no device of the waited streams is connected
  kStatusNotReady = -10,        // the device says its streams are not ready
  kStatusTimeout = -11,         // timed out, or nothing to read
  kStatusNoDriver = -12,        // no plug-in for this device
  kStatusInvalidHandle = -13,   // stream or recorder handle unknown
};

// Log levels as the module uses them. Milestones sit above errors.
enum : uint32_t {
  kLogFinest = 0,
  kLogTrace = 1,
  kLogWarning = 2,
  kLogError = 3,
  kLogMilestone = 4,
};

// A short name ("timed out", "invalid device"); null for a number that is not a status of
// the module or of the SDK's transports.
inline const char* sarvikStatusName(int32_t status) {
  switch (status) {
    case kStatusOk: return "ok";
    case kStatusFailed: return "failed";
    case kStatusNotInitialized: return "not initialised";
    case kStatusInvalidDevice: return "invalid device";
    case kStatusBadArgument: return "bad argument";
    case kStatusListFull: return "list full";
    case kStatusNoSource: return "no source";
    case kStatusDisconnected: return "disconnected";
    case kStatusNotReady: return "not ready";
    case kStatusTimeout: return "timed out";
    case kStatusNoDriver: return "no driver";
    case kStatusInvalidHandle: return "invalid handle";
    case kSarvikErrArgument: return "camera: bad argument";
    case kSarvikErrNotFound: return "camera: not found";
    case kSarvikErrDisconnected: return "camera: disconnected";
    case kSarvikErrState: return "camera: wrong state";
    case kSarvikErrUnsupported: return "camera: unsupported";
    case kSarvikErrIo: return "camera: input/output error";
    case kSarvikErrBusy: return "camera: busy";
    default: return nullptr;
  }
}

#endif  // SARVIK_STATUS_H
