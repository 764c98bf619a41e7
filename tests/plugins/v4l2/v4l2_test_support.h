// What the V4L2 tests share: a frame sink with its own frames, a recorder of
// the back end's events and log lines.
#ifndef SARVIK_TEST_V4L2_SUPPORT_H
#define SARVIK_TEST_V4L2_SUPPORT_H

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "plugins/host/host_backend.h"

namespace v4l2test {

// Generous: sanitizer builds on a busy machine convert a 720p image in a tenth of a second.
constexpr std::chrono::seconds kPatience(60);

class HeapFrame final : public sarvik::SarvikFrameRef {
 public:
  explicit HeapFrame(uint32_t bytes) : m_capacity(bytes) { data = static_cast<char*>(std::malloc(bytes)); }
  uint32_t bufferCapacity() override { return m_capacity; }

 private:
  uint32_t m_capacity;
};

struct Delivered {
  uint32_t pixelType, width, height, dataSize;
  std::vector<uint8_t> head;  // the first bytes of the image
};

class TestSink final : public sarvikhost::FrameSink {
 public:
  sarvik::FrameRefPtr acquire(uint32_t bytes) override { return sarvik::FrameRefPtr(new HeapFrame(bytes)); }
  void deliver(sarvik::FrameRefPtr frame) override {
    Delivered d{frame->pixelType, frame->width, frame->height, frame->dataSize, {}};
    const uint8_t* p = reinterpret_cast<const uint8_t*>(frame->data);
    d.head.assign(p, p + std::min<uint32_t>(frame->dataSize, 16));
    std::lock_guard<std::mutex> lock(m_lock);
    m_frames.push_back(d);
    m_changed.notify_all();
  }
  void lost() override {
    std::lock_guard<std::mutex> lock(m_lock);
    ++m_lost;
    m_changed.notify_all();
  }
  bool waitFor(size_t frames, size_t lost = 0) {
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, kPatience, [&] { return m_frames.size() >= frames && m_lost >= lost; });
  }
  std::vector<Delivered> frames() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_frames;
  }
  size_t lostCount() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_lost;
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<Delivered> m_frames;
  size_t m_lost = 0;
};

struct Event {
  std::string uri;
  uint32_t state;
};

class TestEvents final : public sarvikhost::HostEvents {
 public:
  void post(const std::string& uri, const std::string&, const std::string&, uint32_t state) override {
    std::lock_guard<std::mutex> lock(m_lock);
    m_events.push_back({uri, state});
    m_changed.notify_all();
  }
  void log(const std::string& text) override {
    std::lock_guard<std::mutex> lock(m_lock);
    m_lines.push_back(text);
  }
  bool waitForEvents(size_t n) {
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, kPatience, [&] { return m_events.size() >= n; });
  }
  std::vector<Event> events() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_events;
  }
  std::vector<std::string> lines() {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_lines;
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::vector<Event> m_events;
  std::vector<std::string> m_lines;
};

}  // namespace v4l2test

#endif  // SARVIK_TEST_V4L2_SUPPORT_H
