// The modes of a played file. The record format has no header, so a mode is
// inferred from the tags: every distinct width x height x bytes per pixel of
// a stream type is one mode of that sensor, in the order the file first
// shows them (the first is the one a device opens with). The pixel format
// follows from the stream type and the bytes per pixel: colour 3 bytes RGB,
// depth 2 bytes, infrared 1 or 2 bytes gray; the index has already refused
// any other combination. The rate is the sidecar's, or else the median gap
// between stamps of that mode's entries, rounded (0 when under two entries).
// Only the entries of a sensor's current mode are played; the others are
// skipped as frames of a mode the application did not choose.
#ifndef SARVIK_PLAYBACK_MODES_H
#define SARVIK_PLAYBACK_MODES_H

#include <vector>

#include "playback_index.h"
#include "playback_sidecar.h"
#include "sarvik/SarvikCamera.h"

namespace playback {

// Slot 0..3: colour, depth, ir, light ir. -1 for any other type.
int slotOf(uint32_t streamType);
extern const uint32_t kSlotTypes[4];

// Replaces what the four lists held.
void inferModes(const PlaybackIndex& index, const Sidecar& sidecar, std::vector<SarvikModeRecord> modes[4]);

// Whether an entry belongs to a mode.
bool entryIsMode(const IndexEntry& entry, const SarvikModeRecord& mode);

}  // namespace playback

#endif  // SARVIK_PLAYBACK_MODES_H
