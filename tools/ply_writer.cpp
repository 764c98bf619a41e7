#include "tools/ply_writer.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <vector>

namespace sarvik {
namespace tools {

namespace {

void putFloat(std::vector<char>* out, float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  for (int i = 0; i < 4; ++i) out->push_back(static_cast<char>((bits >> (8 * i)) & 0xFF));
}

char colourByte(float component) {
  const float scaled = std::round(component * 255.0f);
  if (!(scaled > 0.0f)) return 0;  // also NaN
  if (scaled >= 255.0f) return static_cast<char>(255);
  return static_cast<char>(static_cast<uint8_t>(scaled));
}

}  // namespace

bool isZeroPoint(const typedefSarvikPoint3D& point) {
  // -0.0 compares equal to 0.0, and the coloured cloud negates y and z.
  return point.x == 0.0f && point.y == 0.0f && point.z == 0.0f;
}

size_t countRealPoints(const typedefSarvikPoint3D* points, size_t count) {
  size_t real = 0;
  for (size_t i = 0; i < count; ++i) real += isZeroPoint(points[i]) ? 0 : 1;
  return real;
}

long long writePly(std::ostream& out, const typedefSarvikPoint3D* points, const typedefSarvikRGBA* colours,
                   size_t count) {
  const size_t real = countRealPoints(points, count);
  out << "ply\n"
      << "format binary_little_endian 1.0\n"
      << "comment written by sarvik\n"
      << "element vertex " << real << "\n"
      << "property float x\n"
      << "property float y\n"
      << "property float z\n";
  if (colours != nullptr) {
    out << "property uchar red\n"
        << "property uchar green\n"
        << "property uchar blue\n";
  }
  out << "end_header\n";

  // Encoded a row of points at a time: one write per vertex would dominate
  // the time for a megapixel cloud.
  std::vector<char> chunk;
  const size_t vertexBytes = colours != nullptr ? 15 : 12;
  chunk.reserve(vertexBytes * 1024);
  for (size_t i = 0; i < count; ++i) {
    if (isZeroPoint(points[i])) continue;
    putFloat(&chunk, points[i].x);
    putFloat(&chunk, points[i].y);
    putFloat(&chunk, points[i].z);
    if (colours != nullptr) {
      chunk.push_back(colourByte(colours[i].r));
      chunk.push_back(colourByte(colours[i].g));
      chunk.push_back(colourByte(colours[i].b));
    }
    if (chunk.size() >= vertexBytes * 1024) {
      out.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
      chunk.clear();
    }
  }
  out.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
  out.flush();
  return out ? static_cast<long long>(real) : -1;
}

}  // namespace tools
}  // namespace sarvik
