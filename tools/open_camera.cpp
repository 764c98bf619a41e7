#include "tools/open_camera.h"

#include "tools/sdk_session.h"
#include "tools/stream_type_names.h"

namespace sarvik {
namespace tools {

int32_t OpenCamera::open(const std::string& address) {
  m_address = address;
  return openCamera(m_context, address, &m_device);
}

int32_t OpenCamera::openStream(uint32_t type, VideoStream** stream, StreamFrameCallback callback, void* user) {
  *stream = nullptr;
  const int32_t status = m_context->openStream(m_device, type, stream, callback, user);
  if (status != 0) {
    *stream = nullptr;
    reportFailure("openStream(" + streamTypeName(type) + ")", status);
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
      reportFailure("closeStream(" + streamTypeName(entry.first) + ")", status);
      if (first == 0) first = status;
    }
  }
  m_streams.clear();
  if (m_device != nullptr) {
    const int32_t status = m_context->closeDevice(m_device);
    m_device = nullptr;
    if (status != 0) {
      reportFailure("closeDevice(" + m_address + ")", status);
      if (first == 0) first = status;
    }
  }
  return first;
}

}  // namespace tools
}  // namespace sarvik
