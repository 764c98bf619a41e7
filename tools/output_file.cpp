#include "tools/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace sarvik {
namespace tools {

namespace {

std::string folderOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

std::string temporaryNameFor(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  const std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  // A long target name would make the temporary's name too long; its head
  // is enough to tell whose temporary it is.
  return folder + "." + nameOf(path).substr(0, 200) + ".XXXXXX.part";
}

bool isSpecialFile(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode);
}

bool checkOutputPath(const std::string& path, bool force, std::string* error) {
  if (path.empty()) {
    *error = "no output file named";
    return false;
  }
  struct stat st;
  if (stat(path.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) {
      *error = path + " is a folder; name a file in it";
      return false;
    }
    if (S_ISREG(st.st_mode)) {
      if (!force) {
        *error = path + " exists; --force overwrites it";
        return false;
      }
      return true;
    }
    // O_NONBLOCK: a FIFO without a reader must not hang the check.
    const int fd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
      // A FIFO nobody reads yet is fine: the writer will wait for its reader.
      if (errno == ENXIO) return true;
      *error = "cannot write " + path + ": " + std::strerror(errno);
      return false;
    }
    const bool ok = S_ISFIFO(st.st_mode) || ::write(fd, "", 0) == 0;
    const int saved = errno;
    ::close(fd);
    if (!ok) *error = "cannot write " + path + ": " + std::strerror(saved);
    return ok;
  }
  if (errno != ENOENT) {
    // ENAMETOOLONG, EACCES, ELOOP: the same would stop the rename at the end.
    *error = "cannot write " + path + ": " + std::strerror(errno);
    return false;
  }
  const std::string folder = folderOf(path);
  if (stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    *error = "cannot write " + path + ": the folder " + folder + " does not exist";
    return false;
  }
  if (access(folder.c_str(), W_OK) != 0) {
    *error = "cannot write " + path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

bool OutputFile::fail(const std::string& what, int error) {
  m_failed = true;
  m_error = what + " " + m_path + ": " + std::strerror(error);
  return false;
}

bool OutputFile::open(const std::string& path, bool force) {
  discard();
  m_path = path;
  m_error.clear();
  m_failed = false;
  m_written = 0;
  if (!checkOutputPath(path, force, &m_error)) {
    m_failed = true;
    return false;
  }
  m_inPlace = isSpecialFile(path);
  if (m_inPlace) {
    m_writing = path;
    m_fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (m_fd < 0) return fail("cannot write", errno);
    return true;
  }
  m_writing = temporaryNameFor(path);
  std::string pattern = m_writing;
  m_fd = mkstemps(&pattern[0], 5);
  if (m_fd < 0) return fail("cannot write", errno);
  m_writing = pattern;
  // mkstemp makes the file 0600; a finished file gets what the user's umask allows.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(m_fd, 0666 & ~mask);
  return true;
}

bool OutputFile::write(const void* data, size_t size) {
  if (m_failed || m_fd < 0) {
    if (m_error.empty()) m_error = "cannot write " + m_path + ": not open";
    return false;
  }
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = ::write(m_fd, bytes, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return fail("cannot write", errno);
    }
    if (n == 0) return fail("cannot write", ENOSPC);
    bytes += n;
    size -= static_cast<size_t>(n);
    m_written += static_cast<uint64_t>(n);
  }
  return true;
}

bool OutputFile::commit() {
  if (m_failed || m_fd < 0) {
    discard();
    if (m_error.empty()) m_error = "cannot write " + m_path + ": not open";
    return false;
  }
  if (m_inPlace) {
    const int fd = m_fd;
    m_fd = -1;
    if (::close(fd) != 0) return fail("cannot write", errno);
    return true;
  }
  // A delayed-allocation file system may first report a full disk here.
  if (fsync(m_fd) != 0 && errno != EINVAL) {
    fail("cannot write", errno);
    discard();
    return false;
  }
  const int fd = m_fd;
  m_fd = -1;
  if (::close(fd) != 0) {
    fail("cannot write", errno);
    discard();
    return false;
  }
  if (std::rename(m_writing.c_str(), m_path.c_str()) != 0) {
    fail("cannot rename the finished file to", errno);
    discard();
    return false;
  }
  m_writing.clear();
  return true;
}

void OutputFile::discard() {
  if (m_fd >= 0) {
    ::close(m_fd);
    m_fd = -1;
  }
  if (!m_inPlace && !m_writing.empty()) ::unlink(m_writing.c_str());
  m_writing.clear();
}

}  // namespace tools
}  // namespace sarvik
