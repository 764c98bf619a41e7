#include "tools/image_files.h"

#include <cctype>

#include "sarvik/SarvikTypes.h"
#include "tools/bmp_writer.h"
#include "tools/output_file.h"
#include "tools/png_writer.h"

namespace sarvik {
namespace tools {

FileFormat fileFormatOf(const std::string& path) {
  const size_t dot = path.find_last_of('.');
  const size_t slash = path.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return FileFormat::kUnknown;
  std::string extension = path.substr(dot + 1);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (extension == "png") return FileFormat::kPng;
  if (extension == "bmp") return FileFormat::kBmp;
  if (extension == "pgm") return FileFormat::kPgm;
  if (extension == "raw") return FileFormat::kRaw;
  if (extension == "ply") return FileFormat::kPly;
  return FileFormat::kUnknown;
}

const char* fileFormatName(FileFormat format) {
  switch (format) {
    case FileFormat::kPng: return "png";
    case FileFormat::kBmp: return "bmp";
    case FileFormat::kPgm: return "pgm";
    case FileFormat::kRaw: return "raw";
    case FileFormat::kPly: return "ply";
    case FileFormat::kUnknown: break;
  }
  return "unknown";
}

std::string formatsFor(uint32_t streamType) {
  switch (streamType) {
    case SARVIK_STREAM_COLOR: return "png, bmp or raw";
    case SARVIK_STREAM_DEPTH: return "png (16-bit), ply (point cloud) or raw";
    default: return "png, pgm or raw";
  }
}

bool formatFits(uint32_t streamType, FileFormat format) {
  if (format == FileFormat::kPng || format == FileFormat::kRaw) return true;
  switch (streamType) {
    case SARVIK_STREAM_COLOR: return format == FileFormat::kBmp;
    case SARVIK_STREAM_DEPTH: return format == FileFormat::kPly;
    default: return format == FileFormat::kPgm;
  }
}

bool encodeImage(FileFormat format, const FrameImage& image, std::vector<uint8_t>* out, std::string* error) {
  const size_t bytes = static_cast<size_t>(image.width) * image.height * image.bytesPerPixel;
  if (image.data == nullptr || bytes == 0 || image.bytesPerPixel > 3) {
    *error = "the frame holds no image";
    return false;
  }
  switch (format) {
    case FileFormat::kRaw:
      out->assign(image.data, image.data + bytes);
      return true;
    case FileFormat::kBmp:
      if (image.bytesPerPixel != 3) break;
      *out = encodeBmp(image.data, image.width, image.height);
      return true;
    case FileFormat::kPng: {
      const PngPixels kind = image.bytesPerPixel == 3   ? PngPixels::kRgb8
                             : image.bytesPerPixel == 2 ? PngPixels::kGray16
                                                        : PngPixels::kGray8;
      return encodePng(image.data, image.width, image.height, kind, out, error);
    }
    case FileFormat::kPgm: {
      if (image.bytesPerPixel == 3) break;
      const std::string header = "P5\n" + std::to_string(image.width) + " " + std::to_string(image.height) + "\n" +
                                 (image.bytesPerPixel == 2 ? "65535" : "255") + "\n";
      out->assign(header.begin(), header.end());
      out->reserve(header.size() + bytes);
      if (image.bytesPerPixel == 1) {
        out->insert(out->end(), image.data, image.data + bytes);
      } else {
        // PGM keeps 16-bit samples most significant byte first.
        for (size_t i = 0; i < bytes; i += 2) {
          out->push_back(image.data[i + 1]);
          out->push_back(image.data[i]);
        }
      }
      return true;
    }
    default: break;
  }
  *error = std::string("a ") + std::to_string(image.bytesPerPixel) + "-byte-a-pixel image cannot be written as " +
           fileFormatName(format);
  return false;
}

bool saveFile(const std::string& path, bool force, const std::vector<uint8_t>& bytes, std::string* error) {
  OutputFile file;
  if (!file.open(path, force) || !file.write(bytes.data(), bytes.size()) || !file.commit()) {
    *error = file.error();
    return false;
  }
  return true;
}

}  // namespace tools
}  // namespace sarvik
