// The colour bar: 4096 colours from blue through cyan, green and yellow to
// red, indexed by decoded depth, shared by the whole module.
//
// The table lives in static storage, with the two fixed colours stored right
// behind it so that the conversion kernels can pick any pixel's colour by one
// index: entry kFarColourIndex is the colour of valid depth at or beyond the
// bar, kInvalidColourIndex that of a pixel without depth.
#ifndef SARVIK_IMAGING_COLOUR_BAR_H
#define SARVIK_IMAGING_COLOUR_BAR_H

#include <cstdint>

#include "sarvik/SarvikTypes.h"

namespace sarvik {

constexpr uint32_t kColourBarSize = 4096;
constexpr uint32_t kFarColourIndex = kColourBarSize;             // (1, 0, 0, 1)
constexpr uint32_t kInvalidColourIndex = kColourBarSize + 1;     // (0, 0, 0, 1)

// Fills the table and the two fixed colours. Not thread-safe against
// readers: within the module only ensureColourBar calls it.
void buildColourBar();

// Builds the table exactly once per process; every caller returns only when
// the table is complete, also when several first calls race.
void ensureColourBar();

// The table: kColourBarSize entries, then the far and the invalid colour.
// REQUIRES: ensureColourBar (or buildColourBar) has returned before reading.
const typedefSarvikRGBA* colourBar();

}  // namespace sarvik

#endif  // SARVIK_IMAGING_COLOUR_BAR_H
