// What a client of the simulated camera can rely on beyond the plug-in
// interfaces: its identities, its status codes, the layout of its replies to
// property 72, queryData and sendCommand, and the control words its device
// task understands. Tools and tests may include this header.
#ifndef SIMCAM_SIM_PROTOCOL_H
#define SIMCAM_SIM_PROTOCOL_H

#include <cstddef>
#include <cstdint>

#include "sarvik/SarvikCamera.h"

// Transports; the values are the ConnectionType of the device records.
enum SimTransport : uint32_t {
  kSimTransportUsb = 1,
  kSimTransportNet = 2,
};

constexpr uint16_t kSimVendorId = 0x2E5A;
constexpr uint16_t kSimUsbProductId = 0x5001;
constexpr uint16_t kSimNetProductId = 0x5002;
constexpr uint32_t kSimDeviceFlags = 0x00000001;
constexpr uint32_t kSimMaxCameras = 60;  // the host's table holds no more

// Statuses, property ids, records and task words are the SDK transports'
// own (sarvik/SarvikCamera.h); the simulated camera names them here.
enum : int32_t {
  kSimOk = 0,
  kSimErrArgument = kSarvikErrArgument,
  kSimErrNotFound = kSarvikErrNotFound,
  kSimErrDisconnected = kSarvikErrDisconnected,
  kSimErrState = kSarvikErrState,
};

constexpr uint32_t kSimPropertyDeviceInfo = kSarvikPropertyDeviceInfo;
constexpr uint32_t kSimPropertyStreamFlagMode = kSarvikPropertyStreamFlagMode;

using SimDeviceInfoBlock = SarvikDeviceInfoBlock;
using SimSensorStatus = SarvikSensorStatus;
using SimDeviceStatus = SarvikDeviceStatus;
using SimTaskRecord = SarvikTaskRecord;

enum : uint64_t {
  kSimTaskSetHolding = kSarvikTaskSetHolding,
  kSimTaskSetLocation = kSarvikTaskSetLocation,
  kSimTaskReadRecord = kSarvikTaskReadRecord,
};

#endif  // SIMCAM_SIM_PROTOCOL_H
