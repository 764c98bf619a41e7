// Last-error codes of the whole module. A failing path stores one of these in
// the calling thread's cell (see last_error.h); nothing inside the module ever
// reads them back.
#ifndef SARVIK_LOGGING_ERROR_CODES_H
#define SARVIK_LOGGING_ERROR_CODES_H

#include <cstdint>

#include "platform/platform_report.h"

namespace sarvik {

constexpr uint32_t kErrNotInitialized = 0x80300101;
constexpr uint32_t kErrInvalidDevice = 0x80300102;
constexpr uint32_t kErrDeviceDisconnected = 0x80300104;
constexpr uint32_t kErrInvalidStream = 0x80300105;
constexpr uint32_t kErrTooManyStreams = 0x80300106;
constexpr uint32_t kErrNoFrame = 0x80300107;
constexpr uint32_t kErrPeekTimeout = 0x8030010a;
constexpr uint32_t kErrBadArgument = 0x80300206;
constexpr uint32_t kErrBadAddress = 0x80300208;
// kErrThreadNotCreated = 0x80300410 and kErrThreadPriority = 0x80300411 are
// defined with the platform layer that reports them.
constexpr uint32_t kErrStreamCreate = 0x8030059c;

}  // namespace sarvik

#endif  // SARVIK_LOGGING_ERROR_CODES_H
