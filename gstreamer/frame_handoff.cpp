#include "frame_handoff.h"

namespace sarvik_gst {

void FrameHandoff::onFrame(sarvik::VideoStream*, typedefSarvikFrame* frame, void* user) {
  static_cast<FrameHandoff*>(user)->put(frame);
}

void FrameHandoff::put(typedefSarvikFrame* frame) {
  if (frame == nullptr) return;
  typedefSarvikFrame* old = nullptr;
  {
    std::lock_guard<std::mutex> guard(m_lock);
    old = m_frame;
    m_frame = frame;
    if (old != nullptr) ++m_skipped;
  }
  m_changed.notify_all();
  if (old != nullptr) m_context->releaseFrame(old);
}

FrameHandoff::Wait FrameHandoff::take(typedefSarvikFrame** frame, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> guard(m_lock);
  const bool ready = m_changed.wait_for(guard, timeout, [&] { return m_flushing || m_frame != nullptr || m_gone; });
  if (m_flushing) return Wait::kFlushing;
  if (m_frame != nullptr) {
    *frame = m_frame;
    m_frame = nullptr;
    return Wait::kFrame;
  }
  return ready ? Wait::kGone : Wait::kTimeout;
}

void FrameHandoff::setFlushing(bool flushing) {
  {
    std::lock_guard<std::mutex> guard(m_lock);
    m_flushing = flushing;
  }
  m_changed.notify_all();
}

void FrameHandoff::setGone() {
  {
    std::lock_guard<std::mutex> guard(m_lock);
    m_gone = true;
  }
  m_changed.notify_all();
}

void FrameHandoff::clear() {
  typedefSarvikFrame* old = nullptr;
  {
    std::lock_guard<std::mutex> guard(m_lock);
    old = m_frame;
    m_frame = nullptr;
    m_flushing = false;
    m_gone = false;
  }
  if (old != nullptr) m_context->releaseFrame(old);
}

uint64_t FrameHandoff::skipped() const {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_skipped;
}

}  // namespace sarvik_gst
