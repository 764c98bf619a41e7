#include "v4l2_mjpeg.h"

#ifdef SARVIK_HAVE_TURBOJPEG
#include <turbojpeg.h>
#endif

namespace v4l2cam {

#ifdef SARVIK_HAVE_TURBOJPEG

bool mjpegAvailable() { return true; }

MjpegDecoder::MjpegDecoder() : m_handle(tjInitDecompress()) {}

MjpegDecoder::~MjpegDecoder() {
  if (m_handle != nullptr) tjDestroy(static_cast<tjhandle>(m_handle));
}

bool MjpegDecoder::decode(const uint8_t* src, size_t bytes, uint32_t width, uint32_t height, uint8_t* rgb) {
  if (m_handle == nullptr || bytes < 4 || bytes > 0x7fffffffu) return false;
  tjhandle handle = static_cast<tjhandle>(m_handle);
  int w = 0, h = 0, subsampling = 0, colourspace = 0;
  if (tjDecompressHeader3(handle, src, static_cast<unsigned long>(bytes), &w, &h, &subsampling, &colourspace) != 0) {
    return false;
  }
  // Another size would overrun the frame or leave part of it stale.
  if (w != static_cast<int>(width) || h != static_cast<int>(height)) return false;
  // Warnings (a truncated scan filled with grey) count as corrupt: the
  // application would see a broken picture as a good one.
  return tjDecompress2(handle, src, static_cast<unsigned long>(bytes), rgb, w, 0, h, TJPF_RGB,
                       TJFLAG_NOREALLOC | TJFLAG_STOPONWARNING) == 0;
}

#else

bool mjpegAvailable() { return false; }
MjpegDecoder::MjpegDecoder() = default;
MjpegDecoder::~MjpegDecoder() = default;
bool MjpegDecoder::decode(const uint8_t*, size_t, uint32_t, uint32_t, uint8_t*) { return false; }

#endif

}  // namespace v4l2cam
