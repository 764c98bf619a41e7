// 24-bit BMP files from tightly packed RGB images (three bytes a pixel, red
// first, rows top down), as colour streams deliver them.
#ifndef SARVIK_TOOLS_BMP_WRITER_H
#define SARVIK_TOOLS_BMP_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace sarvik {
namespace tools {

// The whole file: 54 bytes of headers, then the rows bottom-up as BGR.
// Unlike the module's own snapshot, each row is padded to a multiple of four
// bytes as the format requires, so that every viewer reads odd widths too.
// `rgb` must hold 3 * width * height bytes.
std::vector<uint8_t> encodeBmp(const uint8_t* rgb, uint32_t width, uint32_t height);

bool writeBmpFile(const std::string& path, const uint8_t* rgb, uint32_t width, uint32_t height,
                  std::string* error);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_BMP_WRITER_H
