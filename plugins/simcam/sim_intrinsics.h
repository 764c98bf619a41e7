// The optics of the simulated camera: pinhole intrinsics that fit the scene
// it draws, and the unit of its depth samples, as the properties
// kSarvikPropertyIntrinsicsBase + type and kSarvikPropertyDepthUnit answer
// them.
#ifndef SIMCAM_SIM_INTRINSICS_H
#define SIMCAM_SIM_INTRINSICS_H

#include <cstdint>

#include "sarvik/SarvikCamera.h"

namespace simcam {

// Intrinsics of a sensor at the size of `mode`.
SarvikIntrinsics simIntrinsics(const typedefSarvikFrameMode& mode);

// Millimetres times four: two fractional bits, 0.001 m a decoded unit.
SarvikDepthUnit simDepthUnit();

// Whether `id` is one of the properties answered here.
bool isSimOpticsProperty(uint32_t id);

// The answer to one of them: `mode` is the current mode of the sensor the id
// names, null when the camera has no such sensor. Copies at most *length
// bytes and sets *length to the record's size. 0, kSarvikErrArgument, or
// kSarvikErrNotFound (no such sensor).
int32_t simOpticsProperty(uint32_t id, const typedefSarvikFrameMode* mode, void* data, uint32_t* length);

}  // namespace simcam

#endif  // SIMCAM_SIM_INTRINSICS_H
