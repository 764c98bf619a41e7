#include "frame_message.h"

#include <cstring>

namespace sarvik_viewer {

FrameMessageHeader makeHeader(uint32_t kind, uint32_t payloadBytes) {
  FrameMessageHeader header;
  std::memset(&header, 0, sizeof header);
  std::memcpy(header.magic, "SVF1", 4);
  header.headerBytes = sizeof header;
  header.payloadBytes = payloadBytes;
  header.kind = kind;
  return header;
}

}  // namespace sarvik_viewer
