#include "sim_event_thread.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <system_error>

namespace simcam {

SimEventThread::~SimEventThread() { stop(); }

void SimEventThread::setCallback(DriverStateCallback callback, void* user) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_callback = callback;
  m_user = user;
}

void SimEventThread::start(std::vector<SimHotplugStep> schedule, const std::string& controlPath, Apply apply) {
  std::lock_guard<std::mutex> lock(m_lock);
  if (m_started) return;
  std::stable_sort(schedule.begin(), schedule.end(),
                   [](const SimHotplugStep& a, const SimHotplugStep& b) { return a.atSeconds < b.atSeconds; });
  m_schedule = std::move(schedule);
  m_apply = std::move(apply);
  m_controlPath = controlPath;
  // The baseline is taken here, on the caller's thread, so that a command
  // written right after start is new and stale content is never replayed.
  markControlFileRead();
  m_base = std::chrono::steady_clock::now();
  try {
    m_thread = std::thread(&SimEventThread::run, this);
    m_started = true;
  } catch (const std::system_error&) {
    // Without the thread there are no events: the cameras just stay as they are.
  }
}

void SimEventThread::stop() {
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_stop = true;
  }
  m_wake.notify_all();
  if (!m_thread.joinable()) return;
  // Ending the plug-in from inside its own callback: the thread cannot join
  // itself, and it leaves its loop as soon as the callback returns.
  if (m_thread.get_id() == std::this_thread::get_id()) m_thread.detach();
  else m_thread.join();
}

void SimEventThread::post(const std::string& uri, const std::string& serial, const std::string& location,
                          uint32_t state) {
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_pending.push_back(Event{uri, serial, location, state});
  }
  m_wake.notify_all();
}

void SimEventThread::run() {
  using Clock = std::chrono::steady_clock;
  Clock::time_point nextPoll = Clock::now() + kPollInterval;
  std::unique_lock<std::mutex> lock(m_lock);
  while (!m_stop) {
    Clock::time_point wakeAt = nextPoll;
    if (m_nextStep < m_schedule.size()) {
      auto due = m_base + std::chrono::duration_cast<Clock::duration>(
                              std::chrono::duration<double>(m_schedule[m_nextStep].atSeconds));
      wakeAt = std::min(wakeAt, due);
    }
    m_wake.wait_until(lock, wakeAt, [this] { return m_stop || !m_pending.empty(); });
    if (m_stop) break;
    runDueSteps(lock);
    if (Clock::now() >= nextPoll) {
      lock.unlock();
      pollControlFile();
      lock.lock();
      nextPoll = Clock::now() + kPollInterval;
    }
    deliverPending(lock);
  }
}

void SimEventThread::runDueSteps(std::unique_lock<std::mutex>& lock) {
  auto now = std::chrono::steady_clock::now();
  while (!m_stop && m_nextStep < m_schedule.size() &&
         m_base + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                      std::chrono::duration<double>(m_schedule[m_nextStep].atSeconds)) <= now) {
    SimHotplugStep step = m_schedule[m_nextStep++];
    lock.unlock();
    m_apply(step.uri, step.plug);
    lock.lock();
  }
}

void SimEventThread::deliverPending(std::unique_lock<std::mutex>& lock) {
  while (!m_stop && !m_pending.empty()) {
    Event event = std::move(m_pending.front());
    m_pending.pop_front();
    DriverStateCallback callback = m_callback;
    void* user = m_user;
    lock.unlock();
    if (callback != nullptr) {
      callback(event.uri.c_str(), event.serial.c_str(), event.location.c_str(), event.state, user);
    }
    lock.lock();
  }
}

// The control file is read like a log: only what was appended since the last
// look counts, so any number of plug-ins can follow one file. A file that was
// replaced or cut is read again from its start.
void SimEventThread::markControlFileRead() {
  struct stat st;
  if (m_controlPath.empty() || ::stat(m_controlPath.c_str(), &st) != 0) {
    m_controlInode = 0;
    m_controlOffset = 0;
    return;
  }
  m_controlInode = st.st_ino;
  m_controlOffset = st.st_size;
}

void SimEventThread::pollControlFile() {
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
