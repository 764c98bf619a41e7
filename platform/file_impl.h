// FileWrapper over the C runtime's buffered streams.
#ifndef SARVIK_PLATFORM_FILE_IMPL_H
#define SARVIK_PLATFORM_FILE_IMPL_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/file_wrapper.h"

namespace sarvik {

class CriticalSectionWrapper;

// Other writers are kept out with an advisory flock() held from open() to
// close(): exclusive when writing, shared when read-only. flock() works per
// open file description, so two objects in one process exclude each other as
// two processes would. Programs that don't take the lock are not stopped.
class FileImpl : public FileWrapper {
 public:
  FileImpl();
  ~FileImpl() override;

  FileImpl(const FileImpl&) = delete;
  FileImpl& operator=(const FileImpl&) = delete;

  bool isOpen() const override;
  int32_t open(const char* path, bool readOnly, bool looping, bool textMode) override;
  void close() override;
  void setMaxBytes(uint64_t maxBytes) override;
  int32_t flush() override;
  uint32_t getPath(char* buffer, int32_t size) const override;
  int64_t getSize() override;
  __attribute__((format(printf, 2, 3))) int64_t writeText(const char* format, ...) override;
  int32_t read(void* buffer, int32_t length) override;
  int32_t write(const void* buffer, int32_t length) override;
  int32_t writeAtStart(const void* buffer, int32_t length) override;
  int32_t rewind() override;
  const char* path() const override;

 private:
  // Opens, locks and (for writing) truncates, in that order, so that a
  // refused opener never cuts the file another object is writing.
  static FILE* openLocked(const char* path, bool readOnly, const char* mode);

  std::string m_path;
  std::string m_mode;
  FILE* m_file;
  bool m_open;
  bool m_looping;
  int64_t m_sizeAtOpen;  // measured once by open(); later writes don't move it
  int64_t m_readPos;     // guarded by m_lock in read()
  int64_t m_writePos;    // guarded by m_lock in write() and writeAtStart()
  int64_t m_maxBytes;    // -1: no limit
  int64_t m_bytesWritten;
  CriticalSectionWrapper* m_lock;
};

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_FILE_IMPL_H
