// The module's one file abstraction. A read position and a write position are
// kept apart in the object: every transfer seeks to its own position first and
// fetches it back afterwards, so reads and writes never disturb each other.
#ifndef SARVIK_PLATFORM_FILE_WRAPPER_H
#define SARVIK_PLATFORM_FILE_WRAPPER_H

#include <cstdint>

namespace sarvik {

// Results are the whole report: nothing here logs or sets the last error; a
// caller that wants the reason reads errno.
//
// Thread safety: read(), write() and writeAtStart() may run on different
// threads at once on one object. Every other operation takes no lock and must
// not race with open() or close().
class FileWrapper {
 public:
  virtual ~FileWrapper() {}

  virtual bool isOpen() const = 0;

  // 0 on success, -1 if the file cannot be opened (or another writer holds
  // it). Opening an open object is a no-op that returns 0, even for another
  // path. A file opened for writing is cut to length 0; there is no append.
  // Read-only or not, an open object keeps other writers out; a file that
  // someone writes can still be opened read-only. `looping` makes read() wrap
  // round at the end of the file. `path` must not be null.
  virtual int32_t open(const char* path, bool readOnly, bool looping, bool textMode) = 0;

  // Closes the file if one is open. The read and write positions survive.
  virtual void close() = 0;

  // Limits the bytes that write() transfers from now on, counted across calls;
  // 0 removes the limit. The running count is not reset.
  virtual void setMaxBytes(uint64_t maxBytes) = 0;

  // 0, or -5 without a file. Nothing reaches the disk earlier than the
  // stream's own buffering decides, except through flush() and close().
  virtual int32_t flush() = 0;

  // Copies the last path given to open(), cut to `size` - 1 characters, with
  // a terminator. Returns the characters placed, terminator included: `size`
  // itself when the path was cut. REQUIRES: size >= 1.
  virtual uint32_t getPath(char* buffer, int32_t size) const = 0;

  // The current length of the file, -1 without a file, 0 if it cannot be
  // measured.
  virtual int64_t getSize() = 0;

  // printf-style text at the write position, outside the write limit. Returns
  // the new write position (not a count), or -1 without a file.
  virtual int64_t writeText(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;

  // Up to `length` bytes from the read position; returns the count, or -1
  // without a file, with a null buffer or a negative length. A read never
  // crosses the end of the file: with looping, the read that reached the end
  // returns short and the next one starts again at byte 0.
  virtual int32_t read(void* buffer, int32_t length) = 0;

  // `length` bytes at the write position, cut to what the limit allows.
  // Returns the bytes written (0 once the limit is used up, without touching
  // the file), or -1 without a file.
  virtual int32_t write(const void* buffer, int32_t length) = 0;

  // Rewrites the head of the file (say a header) without moving the place
  // where write() goes on, unless the head reaches past it. Outside the limit.
  // Returns the bytes written, or -1 without a file.
  virtual int32_t writeAtStart(const void* buffer, int32_t length) = 0;

  // Moves the read position to byte 0; the write position stays. 0 on success,
  // -13 without a file.
  virtual int32_t rewind() = 0;

  // The last path given to open(); valid until the next open() or destruction.
  virtual const char* path() const = 0;
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_FILE_WRAPPER_H
