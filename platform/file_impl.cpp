#include "platform/file_impl.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <limits>

#include "platform/critical_section_impl.h"

namespace sarvik {

FileImpl::FileImpl()
    : m_file(nullptr),
      m_open(false),
      m_looping(false),
      m_sizeAtOpen(0),
      m_readPos(0),
      m_writePos(0),
      m_maxBytes(-1),
      m_bytesWritten(0),
      m_lock(new CriticalSectionImpl()) {}

FileImpl::~FileImpl() {
  close();
  delete m_lock;
}

bool FileImpl::isOpen() const { return m_open; }

int32_t FileImpl::open(const char* path, bool readOnly, bool looping, bool textMode) {
  if (m_open) return 0;
  m_path = path;
  m_looping = looping;
  m_mode = readOnly ? "r" : "w";
  // POSIX streams treat text and binary alike; the "b" is recorded anyway so
  // that the mode string says what the caller asked for.
  if (!textMode) m_mode += "b";

  m_file = openLocked(path, readOnly, m_mode.c_str());
  if (m_file == nullptr) return -1;
  m_open = true;
  // The stream is left at the end; no transfer trusts its position.
  m_sizeAtOpen = fseeko(m_file, 0, SEEK_END) == 0 ? ftello(m_file) : 0;
  return 0;
}

namespace {

// As opening with "w" would: only a regular file is cut; a device such as
// /dev/null or a FIFO is written as it is.
bool cutToZero(int fd) {
  struct stat info;
  if (fstat(fd, &info) != 0) return false;
  return !S_ISREG(info.st_mode) || ftruncate(fd, 0) == 0;
}

}  // namespace

FILE* FileImpl::openLocked(const char* path, bool readOnly, const char* mode) {
  // No O_TRUNC: the file may only be cut once the lock shows that nobody else
  // has it open through this class.
  // Non-blocking for the open only: a FIFO without a peer must not hold the
  // caller for ever (a writer is refused at once, ENXIO).
  const int flags = readOnly ? O_RDONLY : (O_WRONLY | O_CREAT);
  const int fd = ::open(path, flags | O_CLOEXEC | O_NONBLOCK, 0666);
  if (fd < 0) return nullptr;
  // Linux lets a folder be opened for reading; it is no file to read. Nor is
  // anything but a regular file: a FIFO or a device such as /dev/zero has no
  // end, and a reader that reads to the end would never come back.
  struct stat info;
  if (fstat(fd, &info) != 0 || S_ISDIR(info.st_mode) || (readOnly && !S_ISREG(info.st_mode))) {
    ::close(fd);
    return nullptr;
  }
  const int status = fcntl(fd, F_GETFL);
  if (status == -1 || fcntl(fd, F_SETFL, status & ~O_NONBLOCK) != 0) {
    ::close(fd);
    return nullptr;
  }

  if (readOnly) {
    // Reading beside a writer is allowed, so a reader that finds the file
    // locked for writing goes on without a lock. It then keeps no later
    // writer out; that gap is accepted rather than refusing the reader.
    if (flock(fd, LOCK_SH | LOCK_NB) != 0 && errno != EWOULDBLOCK) {
      ::close(fd);
      return nullptr;
    }
  } else if (flock(fd, LOCK_EX | LOCK_NB) != 0 || !cutToZero(fd)) {
    ::close(fd);
    return nullptr;
  }

  FILE* file = fdopen(fd, mode);
  if (file == nullptr) {
    ::close(fd);
    return nullptr;
  }
  // Unbuffered for writing: a count write() returns is then what reached
  // the file. Buffered, a write "succeeds" into the buffer and its failure
  // (a full disk) shows only in a later seek, against another entry.
  if (!readOnly) setvbuf(file, nullptr, _IONBF, 0);
  return file;
}

void FileImpl::close() {
  if (m_file == nullptr) return;
  fclose(m_file);  // closing the descriptor also drops the flock
  m_file = nullptr;
  m_open = false;
}

void FileImpl::setMaxBytes(uint64_t maxBytes) {
  // A limit beyond what a 64-bit position can reach is no limit at all.
  if (maxBytes == 0 || maxBytes > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    m_maxBytes = -1;
  } else {
    m_maxBytes = static_cast<int64_t>(maxBytes);
  }
}

int32_t FileImpl::flush() {
  if (m_file == nullptr) return -5;
  fflush(m_file);
  return 0;
}

uint32_t FileImpl::getPath(char* buffer, int32_t size) const {
  // size < 1 breaks the contract; refusing it beats writing before the buffer.
  if (buffer == nullptr || size < 1) return 0;
  const int64_t len = static_cast<int64_t>(m_path.size());
  const int64_t n = size - len >= 1 ? len + 1 : size;
  std::memcpy(buffer, m_path.data(), static_cast<size_t>(n - 1));
  buffer[n - 1] = '\0';
  return static_cast<uint32_t>(n);
}

int64_t FileImpl::getSize() {
  if (m_file == nullptr) return -1;
  if (fseeko(m_file, 0, SEEK_END) != 0) return 0;
  return ftello(m_file);
}

int64_t FileImpl::writeText(const char* format, ...) {
  if (m_file == nullptr) return -1;
  fseeko(m_file, m_writePos, SEEK_SET);
  va_list args;
  va_start(args, format);
  vfprintf(m_file, format, args);
  va_end(args);
  m_writePos = ftello(m_file);
  return m_writePos;
}

int32_t FileImpl::read(void* buffer, int32_t length) {
  if (m_file == nullptr || buffer == nullptr || length < 0) return -1;
  ScopedLock guard(m_lock);
  // Wrap only when a read starts exactly at the end: the read that reaches
  // the end returns short, so a caller sees where the file ends.
  if (m_looping && m_readPos == m_sizeAtOpen) m_readPos = 0;
  fseeko(m_file, m_readPos, SEEK_SET);
  const size_t count = fread(buffer, 1, static_cast<size_t>(length), m_file);
  m_readPos = ftello(m_file);
  return static_cast<int32_t>(count);
}

int32_t FileImpl::write(const void* buffer, int32_t length) {
  if (m_file == nullptr) return -1;
  // A negative length would turn into a huge size_t; refuse it like read().
  if (length < 0 || (buffer == nullptr && length > 0)) return -1;
  ScopedLock guard(m_lock);
  if (m_maxBytes != -1) {
    // "Used up" includes a limit lowered below what was written already.
    const int64_t room = m_maxBytes - m_bytesWritten;
    if (room <= 0) return 0;
    if (room <= length) length = static_cast<int32_t>(room);
  }
  if (fseeko(m_file, m_writePos, SEEK_SET) != 0) return -1;
  clearerr(m_file);
  const size_t count = fwrite(buffer, 1, static_cast<size_t>(length), m_file);
  if (m_maxBytes != -1) m_bytesWritten += static_cast<int64_t>(count);
  // Behind whatever did reach the file, so that the next write follows it.
  const off_t position = ftello(m_file);
  m_writePos = position >= 0 ? position : m_writePos + static_cast<int64_t>(count);
  return static_cast<int32_t>(count);
}

int32_t FileImpl::writeAtStart(const void* buffer, int32_t length) {
  if (m_file == nullptr) return -1;
  if (length < 0 || (buffer == nullptr && length > 0)) return -1;
  ScopedLock guard(m_lock);
  fseeko(m_file, 0, SEEK_SET);
  const size_t count = fwrite(buffer, 1, static_cast<size_t>(length), m_file);
  // Writing goes on behind the data already there, unless the new head
  // reaches further.
  if (m_writePos > length) {
    fseeko(m_file, m_writePos, SEEK_SET);
  } else {
    m_writePos = length;
  }
  return static_cast<int32_t>(count);
}

int32_t FileImpl::rewind() {
  if (m_file == nullptr) return -13;
  m_readPos = 0;
  return fseeko(m_file, 0, SEEK_SET);
}

const char* FileImpl::path() const { return m_path.c_str(); }

}  // namespace sarvik
