// PNG files read back through libpng's own reader, so that what the program
// writes is judged by the library every viewer uses.
#ifndef SARVIK_TESTS_TOOLS_PNG_READER_H
#define SARVIK_TESTS_TOOLS_PNG_READER_H

#include <png.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace sarvik {
namespace tools {

struct DecodedPng {
  bool ok = false;
  uint32_t width = 0;
  uint32_t height = 0;
  int colourType = -1;
  int bitDepth = 0;
  std::vector<uint8_t> pixels;  // rows as stored: 16-bit samples big-endian
};

inline DecodedPng readPngFile(const std::string& path) {
  DecodedPng out;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return out;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    out.ok = false;
    out.pixels.clear();
    return out;
  }
  png_init_io(png, file);
  png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
  out.width = png_get_image_width(png, info);
  out.height = png_get_image_height(png, info);
  out.colourType = png_get_color_type(png, info);
  out.bitDepth = png_get_bit_depth(png, info);
  const size_t rowBytes = png_get_rowbytes(png, info);
  png_bytepp rows = png_get_rows(png, info);
  for (uint32_t y = 0; y < out.height; ++y) out.pixels.insert(out.pixels.end(), rows[y], rows[y] + rowBytes);
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(file);
  out.ok = true;
  return out;
}

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TESTS_TOOLS_PNG_READER_H
