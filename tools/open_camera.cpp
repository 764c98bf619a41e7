#include "tools/open_camera.h"

#include "sarvik/SarvikStatus.h"
#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

int32_t OpenCamera::open(const std::string& address) {
  return openCamera(m_context, address, &m_device, &m_address);
}

int32_t OpenCamera::openStream(uint32_t type, VideoStream** stream, StreamFrameCallback callback, void* user) {
  *stream = nullptr;
  const int32_t status = m_context->openStream(m_device, type, stream, callback, user);
  if (status != 0) {
    *stream = nullptr;
    const std::string name = streamTypeName(type);
    reportFailure("opening the " + name + " stream of " + m_address, status,
                  status == kStatusNoSource || status == kSarvikErrNotFound
                      ? "the camera has no " + name + " sensor; `sarvik info` shows what it has"
                      : std::string());
    return status;
  }
  m_streams.emplace_back(type, *stream);
  return 0;
}

int32_t OpenCamera::close() {
  int32_t first = 0;
  for (const auto& entry : m_streams) {
    const int32_t status = m_context->closeStream(entry.second);
    if (status != 0) {
      reportFailure("closing the " + streamTypeName(entry.first) + " stream", status);
      if (first == 0) first = status;
    }
  }
  m_streams.clear();
  if (m_device != nullptr) {
    const int32_t status = m_context->closeDevice(m_device);
    m_device = nullptr;
    if (status != 0) {
      reportFailure("closing " + m_address, status);
      if (first == 0) first = status;
    }
  }
  return first;
}

}  // namespace tools
}  // namespace sarvik
