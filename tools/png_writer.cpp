#include "tools/png_writer.h"

#include <png.h>

namespace sarvik {
namespace tools {

namespace {

void appendBytes(png_structp png, png_bytep data, png_size_t length) {
  auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
  out->insert(out->end(), data, data + length);
}

void noFlush(png_structp) {}

}  // namespace

bool encodePng(const uint8_t* pixels, uint32_t width, uint32_t height, PngPixels kind, std::vector<uint8_t>* out,
               std::string* error) {
  out->clear();
  if (pixels == nullptr || width == 0 || height == 0) {
    *error = "no image to encode";
    return false;
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  if (png == nullptr || info == nullptr) {
    png_destroy_write_struct(&png, &info);
    *error = "libpng: out of memory";
    return false;
  }
  // libpng reports errors by longjmp; nothing with a destructor lives
  // between here and the end of the encoding.
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    out->clear();
    *error = "libpng could not encode the image";
    return false;
  }
  png_set_write_fn(png, out, appendBytes, noFlush);
  const int colourType = kind == PngPixels::kRgb8 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
  const int bitDepth = kind == PngPixels::kGray16 ? 16 : 8;
  png_set_IHDR(png, info, width, height, bitDepth, colourType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  // Camera images are big and change every frame: fast beats small here.
  png_set_compression_level(png, 1);
  png_write_info(png, info);
  if (bitDepth == 16) png_set_swap(png);
  const size_t rowBytes = static_cast<size_t>(width) * (kind == PngPixels::kRgb8 ? 3 : bitDepth / 8);
  for (uint32_t y = 0; y < height; ++y) {
    png_write_row(png, const_cast<png_bytep>(pixels + rowBytes * y));
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

}  // namespace tools
}  // namespace sarvik
