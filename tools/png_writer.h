// PNG files through libpng: 8-bit RGB, 8-bit grey and 16-bit grey, encoded
// in memory so that the caller writes and checks the bytes itself.
#ifndef SARVIK_TOOLS_PNG_WRITER_H
#define SARVIK_TOOLS_PNG_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace sarvik {
namespace tools {

enum class PngPixels { kRgb8, kGray8, kGray16 };

// `pixels` holds tight rows top down; 16-bit samples are little-endian as
// the cameras deliver them (PNG stores them big-endian). False with *error
// set when libpng refuses.
bool encodePng(const uint8_t* pixels, uint32_t width, uint32_t height, PngPixels kind, std::vector<uint8_t>* out,
               std::string* error);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_PNG_WRITER_H
