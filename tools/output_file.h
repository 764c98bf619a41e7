// A file the program writes, never seen half-written under its own name.
//
// A regular (or missing) target is written to a temporary name in the same
// folder and renamed over the target by commit(); anything else (a leftover
// temporary after a failure) is removed. A target that exists and is not a
// regular file (/dev/null, /dev/full, a FIFO, a terminal) is written in place:
// renaming over it would replace the device node. An existing regular file is
// refused unless `force` is given. Every write is checked, so a full disk is
// reported by the write that hit it.
#ifndef SARVIK_TOOLS_OUTPUT_FILE_H
#define SARVIK_TOOLS_OUTPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace sarvik {
namespace tools {

class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile() { discard(); }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // False with error() set ("out.png exists; --force overwrites it").
  bool open(const std::string& path, bool force);

  // The whole buffer or false with error() set ("cannot write out.png: No
  // space left on device"); after a failure every later write fails too.
  bool write(const void* data, size_t size);

  // Flushes to the disk, closes and renames into place. False with error() set;
  // the temporary is then gone.
  bool commit();

  // Closes and removes the temporary; a target written in place is left as it is.
  void discard();

  const std::string& error() const { return m_error; }
  const std::string& path() const { return m_path; }
  // The name being written: the temporary, or the target itself in place.
  const std::string& writingPath() const { return m_writing; }
  bool inPlace() const { return m_inPlace; }
  uint64_t bytesWritten() const { return m_written; }

 private:
  bool fail(const std::string& what, int error);

  std::string m_path;
  std::string m_writing;
  std::string m_error;
  int m_fd = -1;
  bool m_inPlace = false;
  bool m_failed = false;
  uint64_t m_written = 0;
};

// Checks that `path` may be written (its folder exists, and it is not an
// existing regular file unless `force`) without creating anything; for a
// target that is not a regular file, also that a zero-length write to it
// works, which catches /dev/full. False with *error set.
bool checkOutputPath(const std::string& path, bool force, std::string* error);

// A temporary name beside `path`: ".NAME.XXXXXX.part" in the same folder.
std::string temporaryNameFor(const std::string& path);

// Whether `path` exists and is something other than a regular file.
bool isSpecialFile(const std::string& path);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_OUTPUT_FILE_H
