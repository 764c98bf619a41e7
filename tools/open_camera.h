// A camera opened for one subcommand, with the streams opened on it. Closing
// goes streams first, then the device, and happens at the latest when the
// object ends, so that no path out of a subcommand leaves either open.
#ifndef SARVIK_TOOLS_OPEN_CAMERA_H
#define SARVIK_TOOLS_OPEN_CAMERA_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "sarvik/SarvikBaseContext.h"

namespace sarvik {
namespace tools {

class OpenCamera {
 public:
  explicit OpenCamera(SarvikBaseContext* context) : m_context(context) {}
  ~OpenCamera() { close(); }
  OpenCamera(const OpenCamera&) = delete;
  OpenCamera& operator=(const OpenCamera&) = delete;

  // Each prints what failed and returns the module's status. `selector` is
  // an address, a serial, an index or empty (see openCamera).
  int32_t open(const std::string& selector);
  int32_t openStream(uint32_t type, VideoStream** stream, StreamFrameCallback callback = nullptr,
                     void* user = nullptr);

  // Closes every stream, then the device; prints each failure and returns the
  // first failing status. Nothing open: 0.
  int32_t close();

  Device* device() const { return m_device; }
  // The address opened.
  const std::string& address() const { return m_address; }

 private:
  SarvikBaseContext* const m_context;
  std::string m_address;
  Device* m_device = nullptr;
  std::vector<std::pair<uint32_t, VideoStream*>> m_streams;
};

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_OPEN_CAMERA_H
