#include "snapshot_writer.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "frame_message.h"
#include "sarvik/SarvikCamera.h"
#include "sensor_names.h"

namespace sarvik_viewer {
namespace {

struct PngShape {
  int colourType;
  int bitDepth;
};

bool shapeOf(uint32_t format, PngShape* shape) {
  switch (format) {
    case SARVIK_PIXEL_RGB24: *shape = {PNG_COLOR_TYPE_RGB, 8}; return true;
    case SARVIK_PIXEL_DEPTH16:
    case SARVIK_PIXEL_GRAY16: *shape = {PNG_COLOR_TYPE_GRAY, 16}; return true;
    case SARVIK_PIXEL_GRAY8: *shape = {PNG_COLOR_TYPE_GRAY, 8}; return true;
    default: return false;
  }
}

// libpng reports errors by longjmp; everything it owns is freed on both paths
// and nothing of ours with a destructor lives between setjmp and the calls.
bool encode(FILE* file, const FrameMessageHeader& header, const uint8_t* pixels, const PngShape& shape) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  if (png == nullptr) return false;
  png_infop info = png_create_info_struct(png);
  if (info == nullptr || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file);
  png_set_IHDR(png, info, header.width, header.height, shape.bitDepth, shape.colourType, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 3);
  png_write_info(png, info);
  if (shape.bitDepth == 16) png_set_swap(png);  // our samples are little-endian, PNG's big-endian
  const size_t stride = size_t(header.width) * sarvikPixelBytes(header.format);
  for (uint32_t row = 0; row < header.height; ++row) {
    png_write_row(png, const_cast<png_bytep>(pixels + row * stride));
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

}  // namespace

bool writePng(const std::string& path, const std::vector<uint8_t>& message, std::string* error) {
  FrameMessageHeader header;
  if (message.size() < sizeof header) {
    *error = "no image";
    return false;
  }
  std::memcpy(&header, message.data(), sizeof header);
  PngShape shape;
  if (!shapeOf(header.format, &shape) || header.width == 0 || header.height == 0 ||
      message.size() - sizeof header < uint64_t(header.width) * header.height * sarvikPixelBytes(header.format)) {
    *error = "no image";
    return false;
  }
  FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    *error = path + ": " + std::strerror(errno);
    return false;
  }
  const bool encoded = encode(file, header, message.data() + sizeof header, shape);
  // A full disk shows at the flush in fclose as often as in a write.
  const bool closed = std::fclose(file) == 0;
  if (!encoded || !closed) {
    *error = path + ": cannot write the image (disk full?)";
    std::remove(path.c_str());
    return false;
  }
  return true;
}

ApiResult writeSnapshot(FrameHub* hub, const std::string& folder, const std::string& prefix,
                        std::vector<std::string>* written) {
  for (uint32_t type : kSensorTypes) {
    MessageRef message = hub->latest(type);
    if (!message) continue;
    const std::string path = folder + "/" + prefix + "-" + sensorName(type) + ".png";
    std::string error;
    if (!writePng(path, message.bytes(), &error)) return ApiResult::fail(500, error);
    written->push_back(path);
  }
  if (written->empty()) return ApiResult::fail(409, "no stream has an image yet: start one first");
  return ApiResult();
}

}  // namespace sarvik_viewer
