// Feeds the network message decoder what a hostile peer could send. Input:
// one byte with the head's length, the head, then the body (the two parts of
// a message as they arrive).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "net_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const size_t headBytes = data[0] < size - 1 ? data[0] : size - 1;
  const uint8_t* head = data + 1;
  const uint8_t* body = head + headBytes;
  const size_t bodyBytes = size - 1 - headBytes;

  sarvik::net::Message m;
  sarvik::net::CodecError e;
  // A small mode limit too, so that frames reach the bound by the mode.
  for (uint64_t limit : {uint64_t{kSarvikNetMaxFrameBytes}, uint64_t{64}}) {
    const int32_t s = sarvik::net::decode(head, headBytes, body, bodyBytes, m, e, limit);
    if (s != 0) {
      if (e.reason.empty() || e.status != s) std::abort();
      continue;
    }
    if (m.bodyBytes != bodyBytes || (bodyBytes != 0 && m.body != body)) std::abort();
    if (m.header.type == kSarvikNetHello || m.header.type == kSarvikNetList) {
      std::vector<sarvik::net::Camera> cameras;
      if (sarvik::net::decodeCameras(m, cameras, e) != 0 && e.reason.empty()) std::abort();
    }
  }
  return 0;
}
