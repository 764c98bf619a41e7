// What the sidecar FILE.json of a recording says about the camera that made
// it (layout in sarvik/SarvikRecordFile.h). A missing or unreadable sidecar
// is no error: the file plays with what its tags tell.
#ifndef SARVIK_PLAYBACK_SIDECAR_H
#define SARVIK_PLAYBACK_SIDECAR_H

#include <cstdint>
#include <string>
#include <vector>

#include "sarvik/SarvikCamera.h"

namespace playback {

struct SidecarStream {
  uint32_t streamType = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  int fps = 0;              // 0: not known
  int pixelFormat = -1;     // SarvikPixelFormat, -1: not known
  bool hasIntrinsics = false;
  SarvikIntrinsics intrinsics{};
};

struct Sidecar {
  bool present = false;
  std::string name;
  std::string serial;
  std::string uri;
  std::string firmware;
  uint16_t vendorId = 0;
  uint16_t productId = 0;
  bool hasDepthUnit = false;
  SarvikDepthUnit depthUnit{};
  std::vector<SidecarStream> streams;

  // The stream entry of a type and size, or null.
  const SidecarStream* find(uint32_t streamType, uint32_t width, uint32_t height) const;
};

// Reads recordPath + ".json". *warning is set when a sidecar exists but is
// not usable (the file then plays without it).
Sidecar readSidecar(const std::string& recordPath, std::string* warning);
Sidecar parseSidecar(const std::string& text, std::string* warning);

}  // namespace playback

#endif  // SARVIK_PLAYBACK_SIDECAR_H
