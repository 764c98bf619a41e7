#include "playback_backend.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <new>

#include "playback_index.h"
#include "playback_sidecar.h"

namespace playback {

namespace {

constexpr size_t kMaxUri = 512;  // the device table's uri holds 512 characters

std::string serialOf(const std::string& path) {
  // FNV-1a: a file keeps its serial from run to run.
  uint32_t hash = 2166136261u;
  for (unsigned char c : path) hash = (hash ^ c) * 16777619u;
  char text[16];
  std::snprintf(text, sizeof text, "PLAY%08X", hash);
  return text;
}

// Opens and indexes a file; the descriptor on success, -1 with *error set.
int openIndexed(const std::string& path, PlaybackIndex* index, std::string* error, int32_t* status) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    *error = std::string("cannot be opened: ") + std::strerror(errno);
    *status = kSarvikErrIo;
    return -1;
  }
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    *error = "is not a regular file";
    *status = kSarvikErrArgument;
    return -1;
  }
  if (const char* problem = buildIndexFromFd(fd, static_cast<uint64_t>(st.st_size), index)) {
    ::close(fd);
    *error = std::string("is not a record file: ") + problem;
    *status = kSarvikErrArgument;
    return -1;
  }
  return fd;
}

}  // namespace

PlaybackBackend::PlaybackBackend(std::vector<std::string> paths, PlaybackDefaults defaults)
    : m_initial(std::move(paths)), m_defaults(defaults) {}

PlaybackDefaults PlaybackBackend::defaultsFrom(const std::string& speed, const std::string& loop,
                                               std::vector<std::string>* errors) {
  PlaybackDefaults defaults;
  if (!speed.empty()) {
    char* end = nullptr;
    float value = std::strtof(speed.c_str(), &end);
    if (end != nullptr && *end == '\0' && (value == 0.0f || (value >= 0.25f && value <= 8.0f))) {
      defaults.speed = value;
    } else {
      errors->push_back("speed \"" + speed + "\" is not 0 or 0.25 to 8; playing in real time");
    }
  }
  if (loop == "1" || loop == "yes") defaults.loop = true;
  else if (!loop.empty() && loop != "0" && loop != "no") errors->push_back("loop \"" + loop + "\" is not 0 or 1");
  return defaults;
}

PlaybackBackend::~PlaybackBackend() = default;

std::string PlaybackBackend::checkPath(const std::string& path, std::string* canonical) {
  if (path.empty()) return "no path given";
  if (path[0] != '/') return "is not an absolute path";
  // The module takes any address with this in it for a video node.
  if (path.find("/dev/video") != std::string::npos) return "names a video node (\"/dev/video\"), not a record file";
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved) == nullptr) return std::string("cannot be found: ") + std::strerror(errno);
  std::string real = resolved;
  if (real.find("/dev/video") != std::string::npos) return "leads to a video node, not a record file";
  if (std::strlen(SARVIK_FILE_SCHEME) + real.size() > kMaxUri) return "is longer than an address may be";
  struct stat st;
  if (::stat(real.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return "is not a regular file";
  *canonical = real;
  return "";
}

void PlaybackBackend::log(const std::string& text) {
  sarvikhost::HostEvents* events = m_events.load();
  if (events != nullptr) events->log("playback: " + text);
  else std::fprintf(stderr, "sarvik: usb: playback: %s\n", text.c_str());
}

void PlaybackBackend::start(sarvikhost::HostEvents* events) {
  m_events = events;
  for (const std::string& path : m_initial) add(path, false);
}

void PlaybackBackend::stop() { m_events = nullptr; }

PlaybackBackend::File* PlaybackBackend::find(const std::string& canonical) {
  for (File& file : m_files) {
    if (file.source.path == canonical) return &file;
  }
  return nullptr;
}

void PlaybackBackend::post(const File& file, uint32_t state) {
  sarvikhost::HostEvents* events = m_events.load();
  if (events != nullptr) {
    events->post(file.source.info.uri, file.source.info.serial, file.source.info.location, state);
  }
}

bool PlaybackBackend::add(const std::string& path, bool announce) {
  std::string canonical;
  std::string problem = checkPath(path, &canonical);
  PlaybackIndex index;
  int32_t status = 0;
  if (problem.empty()) {
    int fd = openIndexed(canonical, &index, &problem, &status);
    if (fd >= 0) ::close(fd);
  }
  if (!problem.empty()) {
    log((path.empty() ? problem : path + " " + problem) + "; not played");
    return false;
  }
  std::string warning;
  File file;
  file.source.path = canonical;
  file.source.defaults = m_defaults;
  file.source.sidecar = readSidecar(canonical, &warning);
  if (!warning.empty()) log(canonical + ": " + warning + "; played without it");
  const Sidecar& sidecar = file.source.sidecar;
  sarvikhost::CameraInfo& info = file.source.info;
  info.uri = SARVIK_FILE_SCHEME + canonical;
  info.serial = sidecar.serial.empty() ? serialOf(canonical) : sidecar.serial;
  info.name = sidecar.name.empty() ? "Sarvik Playback" : sidecar.name;
  info.location = canonical;
  info.vendorId = sidecar.vendorId != 0 ? sidecar.vendorId : kPlaybackVendorId;
  info.productId = sidecar.productId != 0 ? sidecar.productId : kPlaybackProductId;
  struct stat st;
  if (::stat(canonical.c_str(), &st) == 0) {
    file.device = st.st_dev;
    file.inode = st.st_ino;
  }
  std::lock_guard<std::mutex> lock(m_lock);
  if (File* known = find(canonical)) {
    if (known->present || known->endedBy != nullptr) return true;  // already a camera
    known->present = true;
    if (announce) post(*known, 0);
    return true;
  }
  info.index = static_cast<uint32_t>(m_files.size());
  m_files.push_back(file);
  if (announce) post(m_files.back(), 0);
  return true;
}

bool PlaybackBackend::remove(const std::string& path) {
  char resolved[PATH_MAX];
  std::string canonical = realpath(path.c_str(), resolved) != nullptr ? std::string(resolved) : path;
  std::lock_guard<std::mutex> lock(m_lock);
  auto it = std::find_if(m_files.begin(), m_files.end(),
                         [&](const File& f) { return f.source.path == canonical || f.source.path == path; });
  if (it == m_files.end()) return false;
  for (PlaybackCamera* camera : m_open) {
    if (camera->path() == it->source.path) camera->markGone();
  }
  if (it->present) post(*it, 1);
  m_files.erase(it);
  return true;
}

int32_t PlaybackBackend::text(const std::string& text) {
  const std::string play = SARVIK_UVC_TEXT_PLAY;
  const std::string unplay = SARVIK_UVC_TEXT_UNPLAY;
  if (text.compare(0, play.size(), play) == 0) {
    return add(text.substr(play.size()), true) ? 0 : kSarvikErrArgument;
  }
  if (text.compare(0, unplay.size(), unplay) == 0) {
    // Not kSarvikErrNotFound: to the host that would mean "a text for no back end".
    return remove(text.substr(unplay.size())) ? 0 : kSarvikErrArgument;
  }
  return kSarvikErrNotFound;
}

void PlaybackBackend::list(std::vector<sarvikhost::CameraInfo>* out) {
  std::lock_guard<std::mutex> lock(m_lock);
  for (const File& file : m_files) {
    if (file.present) out->push_back(file.source.info);
  }
}

int32_t PlaybackBackend::open(const std::string& address, std::unique_ptr<sarvikhost::Camera>* out,
                              sarvikhost::CameraInfo* info) {
  const std::string scheme = SARVIK_FILE_SCHEME;
  if (address.compare(0, scheme.size(), scheme) != 0) return kSarvikErrNotFound;
  PlaybackSource source;
  {
    std::lock_guard<std::mutex> lock(m_lock);
    File* file = find(address.substr(scheme.size()));
    if (file == nullptr) return kSarvikErrNotFound;
    if (!file->present) return kSarvikErrDisconnected;
    source = file->source;
  }
  PlaybackIndex index;
  std::string problem;
  int32_t status = 0;
  int fd = openIndexed(source.path, &index, &problem, &status);
  if (fd < 0) {
    log(source.path + " " + problem);
    return status;
  }
  PlaybackCamera* camera = new (std::nothrow) PlaybackCamera(this, source, fd, std::move(index));
  if (camera == nullptr) {
    ::close(fd);
    return kSarvikErrState;
  }
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_open.push_back(camera);
  }
  out->reset(camera);
  *info = source.info;
  return 0;
}

void PlaybackBackend::ended(PlaybackCamera* camera, const std::string& /*why*/) {
  std::lock_guard<std::mutex> lock(m_lock);
  File* file = find(camera->path());
  if (file == nullptr || !file->present) return;
  // Gone from the table like an unplugged camera; back when this device closes.
  file->present = false;
  file->endedBy = camera;
  post(*file, 1);
}

void PlaybackBackend::forget(PlaybackCamera* camera) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_open.erase(std::remove(m_open.begin(), m_open.end(), camera), m_open.end());
  for (auto it = m_files.begin(); it != m_files.end(); ++it) {
    if (it->endedBy != camera) continue;
    it->endedBy = nullptr;
    struct stat st;
    if (::stat(it->source.path.c_str(), &st) != 0 || st.st_ino != it->inode) {
      m_files.erase(it);  // it went away meanwhile: nothing to come back
      return;
    }
    it->present = true;
    post(*it, 0);
    return;
  }
}

void PlaybackBackend::poll() {
  std::lock_guard<std::mutex> lock(m_lock);
  for (auto it = m_files.begin(); it != m_files.end();) {
    struct stat st;
    bool gone = ::stat(it->source.path.c_str(), &st) != 0 || st.st_ino != it->inode || st.st_dev != it->device;
    if (!gone) {
      ++it;
      continue;
    }
    log(it->source.path + ": the file went away; its camera ends");
    for (PlaybackCamera* camera : m_open) {
      if (camera->path() == it->source.path) camera->markGone();
    }
    if (it->present) post(*it, 1);
    it = m_files.erase(it);
  }
  // A file cut shorter than what an open camera indexed ends that camera;
  // one playing would find out at its next read, one paused would not.
  for (PlaybackCamera* camera : m_open) {
    struct stat st;
    if (camera->connectionState() == 0 && ::stat(camera->path().c_str(), &st) == 0 &&
        static_cast<uint64_t>(st.st_size) < camera->indexedBytes()) {
      log(camera->path() + ": the file shrank under its camera; it ends");
      camera->markGone();
      File* file = find(camera->path());
      if (file != nullptr && file->present) {
        file->present = false;
        file->endedBy = camera;
        post(*file, 1);
      }
    }
  }
}

}  // namespace playback
