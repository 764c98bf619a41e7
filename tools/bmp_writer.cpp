#include "tools/bmp_writer.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace sarvik {
namespace tools {

namespace {

void put16(uint8_t* at, uint32_t value) {
  at[0] = static_cast<uint8_t>(value);
  at[1] = static_cast<uint8_t>(value >> 8);
}

void put32(uint8_t* at, uint32_t value) {
  put16(at, value);
  put16(at + 2, value >> 16);
}

}  // namespace

std::vector<uint8_t> encodeBmp(const uint8_t* rgb, uint32_t width, uint32_t height) {
  const size_t rowBytes = static_cast<size_t>(width) * 3;
  const size_t stride = (rowBytes + 3) & ~static_cast<size_t>(3);
  const size_t pixelBytes = stride * height;
  std::vector<uint8_t> file(54 + pixelBytes, 0);
  uint8_t* h = file.data();
  h[0] = 'B';
  h[1] = 'M';
  put32(h + 2, static_cast<uint32_t>(file.size()));
  put32(h + 10, 54);
  put32(h + 14, 40);
  put32(h + 18, width);
  put32(h + 22, height);  // positive: rows bottom-up
  put16(h + 26, 1);
  put16(h + 28, 24);
  put32(h + 34, static_cast<uint32_t>(pixelBytes));
  for (uint32_t row = 0; row < height; ++row) {
    const uint8_t* src = rgb + static_cast<size_t>(height - 1 - row) * rowBytes;
    uint8_t* dst = h + 54 + row * stride;
    for (uint32_t col = 0; col < width; ++col) {
      dst[3 * col + 0] = src[3 * col + 2];
      dst[3 * col + 1] = src[3 * col + 1];
      dst[3 * col + 2] = src[3 * col + 0];
    }
  }
  return file;
}

bool writeBmpFile(const std::string& path, const uint8_t* rgb, uint32_t width, uint32_t height,
                  std::string* error) {
  const std::vector<uint8_t> bytes = encodeBmp(rgb, width, height);
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    *error = path + ": " + std::strerror(errno);
    return false;
  }
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (std::fclose(file) != 0 || !written) {
    *error = path + ": write failed";
    return false;
  }
  return true;
}

}  // namespace tools
}  // namespace sarvik
