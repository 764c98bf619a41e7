#include "imaging/bmp_writer.h"

#include <cstdio>
#include <memory>

#include "logging/error_codes.h"
#include "logging/last_error.h"
#include "platform/file_impl.h"
#include "platform/local_time.h"
#include "sarvik/SarvikStatus.h"

namespace sarvik {
namespace {

constexpr uint32_t kHeaderBytes = 54;

void putLe16(uint8_t* at, uint32_t value) {
  at[0] = static_cast<uint8_t>(value);
  at[1] = static_cast<uint8_t>(value >> 8);
}

void putLe32(uint8_t* at, uint32_t value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

// The frame's last row becomes the file's first, and each pixel's byte order
// is reversed.
void flipRowsSwapBytes(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst) {
  const size_t rowBytes = 3 * static_cast<size_t>(width);
  for (uint32_t r = 0; r < height; ++r) {
    const uint8_t* in = src + (height - 1 - r) * rowBytes;
    uint8_t* out = dst + r * rowBytes;
    for (size_t i = 0; i < rowBytes; i += 3) {
      out[i] = in[i + 2];
      out[i + 1] = in[i + 1];
      out[i + 2] = in[i];
    }
  }
}

void fillHeaders(uint32_t width, uint32_t height, uint32_t pixelBytes, uint8_t (&file)[14], uint8_t (&info)[40]) {
  putLe16(file, 0x4D42);
  putLe32(file + 2, pixelBytes + kHeaderBytes);
  putLe16(file + 6, 0);
  putLe16(file + 8, 0);
  putLe32(file + 10, kHeaderBytes);
  putLe32(info, 40);
  putLe32(info + 4, width);
  putLe32(info + 8, height);  // positive: bottom-up rows
  putLe16(info + 12, 1);
  putLe16(info + 14, 24);
  putLe32(info + 16, 0);
  putLe32(info + 20, pixelBytes);
  for (int at = 24; at < 40; at += 4) putLe32(info + at, 0);
}

// The pixel count must fit the header's 32-bit sizes, file size included,
// and the copy must not read past the frame's buffer; refusing keeps a
// wrapped size from ever reaching the copy.
bool pixelBytesOf(const typedefSarvikFrame& frame, uint32_t bufferCapacity, uint32_t* pixelBytes) {
  const uint64_t pixels = static_cast<uint64_t>(frame.width) * frame.height;
  if (pixels > (UINT32_MAX - kHeaderBytes) / 3) return false;
  const uint32_t bytes = static_cast<uint32_t>(3 * pixels);
  if (bytes > bufferCapacity) return false;
  if (bytes != 0 && frame.data == nullptr) return false;
  *pixelBytes = bytes;
  return true;
}

// FileWrapper::write() takes an int32_t count; a frame may hold more.
void writeAll(FileWrapper& file, const uint8_t* bytes, size_t count) {
  constexpr size_t kChunk = size_t{1} << 30;
  for (size_t done = 0; done < count;) {
    const size_t step = count - done < kChunk ? count - done : kChunk;
    if (file.write(bytes + done, static_cast<int32_t>(step)) != static_cast<int32_t>(step)) return;
    done += step;
  }
}

}  // namespace

void bmpDefaultName(const std::tm& localTime, char (&out)[kBmpNameSize]) {
  std::snprintf(out, kBmpNameSize, "%d%02d%02d%02d%02d%02d.bmp", localTime.tm_year + 1900, localTime.tm_mon + 1,
                localTime.tm_mday, localTime.tm_hour, localTime.tm_min, localTime.tm_sec);
}

int32_t writeBmpSnapshot(const char* fileName, const typedefSarvikFrame& frame, uint32_t bufferCapacity) {
  if (frame.pixelType != 0) return kStatusNoSource;
  uint32_t pixelBytes = 0;
  if (!pixelBytesOf(frame, bufferCapacity, &pixelBytes)) return kStatusNoSource;
  const uint32_t width = frame.width;
  const uint32_t height = frame.height;

  uint8_t fileHeader[14];
  uint8_t infoHeader[40];
  fillHeaders(width, height, pixelBytes, fileHeader, infoHeader);
  std::unique_ptr<uint8_t[]> pixels(new uint8_t[pixelBytes]);
  if (pixelBytes != 0) flipRowsSwapBytes(static_cast<const uint8_t*>(frame.data), width, height, pixels.get());

  char defaultName[kBmpNameSize];
  if (fileName == nullptr || fileName[0] == '\0') {
    bmpDefaultName(currentLocalTime(), defaultName);
    fileName = defaultName;
  }

  // The file wrapper also keeps out a recorder of this process that writes
  // the same file: the snapshot then fails instead of cutting the record.
  FileImpl file;
  if (file.open(fileName, false, false, false) != 0) {
    setLastErrorCode(kErrBadArgument);
    return kStatusBadArgument;
  }
  // Five writes, in the order the header is laid out; a failing write (a
  // full disk) is not reported, the file is simply short.
  writeAll(file, fileHeader, 8);
  writeAll(file, fileHeader + 8, 2);
  writeAll(file, fileHeader + 10, 4);
  writeAll(file, infoHeader, sizeof infoHeader);
  writeAll(file, pixels.get(), pixelBytes);
  file.close();
  return 0;
}

}  // namespace sarvik
