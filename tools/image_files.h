// Still images and raw frames in the formats the program writes, chosen by
// the name's extension, each checked against what the frame holds.
#ifndef SARVIK_TOOLS_IMAGE_FILES_H
#define SARVIK_TOOLS_IMAGE_FILES_H

#include <cstdint>
#include <string>
#include <vector>

namespace sarvik {
namespace tools {

enum class FileFormat { kPng, kBmp, kPgm, kRaw, kPly, kUnknown };

// From the extension, any case: .png .bmp .pgm .raw .ply; kUnknown otherwise.
FileFormat fileFormatOf(const std::string& path);
const char* fileFormatName(FileFormat format);

// The formats a stream type may be written as, for messages ("png, bmp or raw").
std::string formatsFor(uint32_t streamType);
bool formatFits(uint32_t streamType, FileFormat format);

// One frame's tight pixels.
struct FrameImage {
  const uint8_t* data = nullptr;
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t bytesPerPixel = 0;  // 3 colour, 2 depth or 16-bit grey, 1 8-bit grey
};

// The file's bytes for an image format (png, bmp, pgm, raw). False with
// *error set when the frame does not fit the format.
bool encodeImage(FileFormat format, const FrameImage& image, std::vector<uint8_t>* out, std::string* error);

// Writes `bytes` to `path` through OutputFile. False with *error set.
bool saveFile(const std::string& path, bool force, const std::vector<uint8_t>& bytes, std::string* error);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_IMAGE_FILES_H
