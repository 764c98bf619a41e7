#include "sim_hotplug.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace simcam {

void SimHotplug::start(std::vector<SimHotplugStep> schedule, const std::string& controlPath, Apply apply) {
  std::stable_sort(schedule.begin(), schedule.end(),
                   [](const SimHotplugStep& a, const SimHotplugStep& b) { return a.atSeconds < b.atSeconds; });
  m_schedule = std::move(schedule);
  m_apply = std::move(apply);
  m_controlPath = controlPath;
  // The baseline is taken here, on the caller's thread, so that a command
  // written right after start is new and stale content is never replayed.
  markControlFileRead();
  m_base = std::chrono::steady_clock::now();
}

void SimHotplug::poll() {
  if (!m_apply) return;
  auto now = std::chrono::steady_clock::now();
  while (m_nextStep < m_schedule.size() &&
         m_base + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                      std::chrono::duration<double>(m_schedule[m_nextStep].atSeconds)) <= now) {
    const SimHotplugStep& step = m_schedule[m_nextStep++];
    m_apply(step.uri, step.plug);
  }
  pollControlFile();
}

// The control file is read like a log: only what was appended since the last
// look counts, so any number of plug-ins can follow one file. A file that was
// replaced or cut is read again from its start.
void SimHotplug::markControlFileRead() {
  struct stat st;
  if (m_controlPath.empty() || ::stat(m_controlPath.c_str(), &st) != 0) {
    m_controlInode = 0;
    m_controlOffset = 0;
    return;
  }
  m_controlInode = st.st_ino;
  m_controlOffset = st.st_size;
}

void SimHotplug::pollControlFile() {
  struct stat st;
  if (m_controlPath.empty()) return;
  if (::stat(m_controlPath.c_str(), &st) != 0) {
    m_controlInode = 0;
    m_controlOffset = 0;
    return;
  }
  if (st.st_ino != m_controlInode || st.st_size < m_controlOffset) {
    m_controlInode = st.st_ino;
    m_controlOffset = 0;
  }
  if (st.st_size == m_controlOffset) return;
  FILE* file = std::fopen(m_controlPath.c_str(), "rb");
  if (file == nullptr) return;
  std::string text;
  if (fseeko(file, m_controlOffset, SEEK_SET) == 0) {
    text.resize(static_cast<size_t>(st.st_size - m_controlOffset));
    text.resize(std::fread(&text[0], 1, text.size(), file));
  }
  std::fclose(file);
  // A line still being written is left for the next look.
  size_t end = text.rfind('\n');
  if (end == std::string::npos) return;
  m_controlOffset += static_cast<off_t>(end + 1);
  std::istringstream lines(text.substr(0, end + 1));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string verb, uri, extra;
    words >> verb >> uri >> extra;
    if ((verb == "plug" || verb == "unplug") && !uri.empty() && extra.empty()) m_apply(uri, verb == "plug");
  }
}

}  // namespace simcam
