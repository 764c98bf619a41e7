#include "host_events.h"

#include <cstdio>
#include <system_error>

namespace sarvikhost {

EventThread::~EventThread() { stop(); }

void EventThread::setCallback(DriverStateCallback callback, void* user) {
  std::lock_guard<std::mutex> lock(m_lock);
  m_callback = callback;
  m_user = user;
}

void EventThread::start(std::function<void()> poll) {
  std::lock_guard<std::mutex> lock(m_lock);
  if (m_started || m_stop) return;
  m_poll = std::move(poll);
  try {
    m_thread = std::thread(&EventThread::run, this);
    m_started = true;
  } catch (const std::system_error&) {
    // Without the thread there are no events: the cameras just stay as they are.
  }
}

void EventThread::stop() {
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

void EventThread::post(const std::string& uri, const std::string& serial, const std::string& location,
                       uint32_t state) {
  {
    std::lock_guard<std::mutex> lock(m_lock);
    m_pending.push_back(Event{uri, serial, location, state});
  }
  m_wake.notify_all();
}

void EventThread::log(const std::string& text) {
  std::fprintf(stderr, "sarvik: %s: %s\n", m_pluginName.c_str(), text.c_str());
}

void EventThread::run() {
  using Clock = std::chrono::steady_clock;
  Clock::time_point nextPoll = Clock::now() + kPollInterval;
  std::unique_lock<std::mutex> lock(m_lock);
  while (!m_stop) {
    m_wake.wait_until(lock, nextPoll, [this] { return m_stop || !m_pending.empty(); });
    if (m_stop) break;
    if (Clock::now() >= nextPoll) {
      lock.unlock();
      if (m_poll) m_poll();
      lock.lock();
      nextPoll = Clock::now() + kPollInterval;
    }
    while (!m_stop && !m_pending.empty()) {
      Event event = std::move(m_pending.front());
      m_pending.pop_front();
      DriverStateCallback callback = m_callback;
      void* user = m_user;
      lock.unlock();
      if (callback != nullptr) callback(event.uri.c_str(), event.serial.c_str(), event.location.c_str(), event.state, user);
      lock.lock();
    }
  }
}

}  // namespace sarvikhost
