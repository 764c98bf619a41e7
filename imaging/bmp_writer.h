// The bitmap half of a snapshot: once a frame has been obtained, writes it
// as a 24-bit BMP with 54 header bytes, rows bottom-up and tight (3 x width
// bytes, no padding to 4), each pixel's three bytes reversed (RGB in the
// frame, BGR in the file).
#ifndef SARVIK_IMAGING_BMP_WRITER_H
#define SARVIK_IMAGING_BMP_WRITER_H

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "sarvik/SarvikTypes.h"

namespace sarvik {

constexpr size_t kBmpNameSize = 128;

// Writes `frame` to `fileName`, replacing any file of that name. A null or
// empty name selects bmpDefaultName() of the current local time, in the
// current directory; any other name is used as it is (no folder is made).
// Results: 0 written (a failing write after the open goes unreported);
// -8 pixelType is not 0, or 3 x width x height does not fit the 32-bit
// sizes of the header, or exceeds `bufferCapacity`, the size of the buffer at
// frame.data (nothing written, last error unchanged); -4 the file cannot be
// created (last error kErrBadArgument). Throws std::bad_alloc when the pixel
// copy cannot be allocated.
// REQUIRES: frame.data stays valid for the call (the caller holds a reference).
int32_t writeBmpSnapshot(const char* fileName, const typedefSarvikFrame& frame, uint32_t bufferCapacity);

// "%d%02d%02d%02d%02d%02d.bmp" of year, month, day, hour, minute, second.
void bmpDefaultName(const std::tm& localTime, char (&out)[kBmpNameSize]);

}  // namespace sarvik

#endif  // SARVIK_IMAGING_BMP_WRITER_H
