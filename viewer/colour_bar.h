// The module's depth colour bar as 4096 RGB byte triples, entry d for a
// decoded depth d, so the page colours depth exactly as the module's
// coloured cloud does.
#ifndef SARVIK_VIEWER_COLOUR_BAR_H
#define SARVIK_VIEWER_COLOUR_BAR_H

#include <cstdint>
#include <vector>

#include "sarvik/SarvikBaseContext.h"

namespace sarvik_viewer {

constexpr uint32_t kColourBarEntries = 4096;

std::vector<uint8_t> moduleColourBar(SarvikBaseContext* context);

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_COLOUR_BAR_H
