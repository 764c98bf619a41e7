// The simulated camera's frame-mode record, as getFrameModeList hands it out
// and getCurrentFrameMode points at it. Tools and tests may include this
// header; it depends on the public records alone.
//
// getFrameModeList(sensorType, word1, word2) of a simulated device reads its
// two words as:
//   word1: SimFrameMode* array to fill (may be 0 to only ask for the number)
//   word2: uint32_t* count: on entry the room of the array in records, on
//          return the number of records written; with word1 0, the number of
//          modes the sensor has.
// It returns 0, or kSimErrArgument for a null count, or kSimErrNotFound for a
// sensor this camera does not have (*count is then 0). Records come in the
// order of the configuration; the first one is the mode a device opens with.
#ifndef SIMCAM_SIM_FRAME_MODE_H
#define SIMCAM_SIM_FRAME_MODE_H

#include <cstddef>
#include <cstdint>

#include "sarvik/SarvikCamera.h"
#include "sarvik/SarvikTypes.h"

// modeValue4 of a mode and pixelType of its frames carry the same code.
enum SimPixelFormat : uint16_t {
  kSimPixelRgb24 = 0,    // 3 bytes a pixel, red first, rows top down
  kSimPixelDepth16 = 1,  // 16-bit depth, millimetres * 4 (2 fractional bits)
  kSimPixelGray8 = 2,    // 8-bit intensity
  kSimPixelGray16 = 3,   // 16-bit intensity
};

// The same record every camera of the SDK's transports hands out.
using SimFrameMode = SarvikModeRecord;

inline uint16_t simModeWidth(const typedefSarvikFrameMode& m) { return m.modeValue1; }
inline uint16_t simModeHeight(const typedefSarvikFrameMode& m) { return m.modeValue3; }
inline uint16_t simModeFormat(const typedefSarvikFrameMode& m) { return m.modeValue4; }
inline int8_t simModeFps(const typedefSarvikFrameMode& m) { return m.modeValue2; }

// Two modes are the same when the four values the host reads are equal; the
// bytes behind them are the plug-in's own and take no part.
inline bool simModeEquals(const typedefSarvikFrameMode& a, const typedefSarvikFrameMode& b) {
  return a.modeValue1 == b.modeValue1 && a.modeValue3 == b.modeValue3 &&
         a.modeValue4 == b.modeValue4 && a.modeValue2 == b.modeValue2;
}

#endif  // SIMCAM_SIM_FRAME_MODE_H
