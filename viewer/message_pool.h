// Reusable message buffers, so that a stream in steady state allocates
// nothing per frame. One thread (a stream's reader) acquires; any thread may
// hold and drop references.
#ifndef SARVIK_VIEWER_MESSAGE_POOL_H
#define SARVIK_VIEWER_MESSAGE_POOL_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace sarvik_viewer {

struct Message {
  std::vector<uint8_t> bytes;  // header and payload
  std::atomic<int32_t> holders{0};
};

// Counted reference to a pooled message. Dropping the last one hands the
// buffer back with release order, and the pool's acquire load of the count
// pairs with it, so the next writer never races a late reader.
class MessageRef {
 public:
  MessageRef() = default;
  explicit MessageRef(Message* message) : m_message(message) {
    if (m_message != nullptr) m_message->holders.fetch_add(1, std::memory_order_relaxed);
  }
  MessageRef(const MessageRef& other) : MessageRef(other.m_message) {}
  MessageRef(MessageRef&& other) noexcept : m_message(other.m_message) { other.m_message = nullptr; }
  MessageRef& operator=(MessageRef other) noexcept {
    std::swap(m_message, other.m_message);
    return *this;
  }
  ~MessageRef() {
    if (m_message != nullptr) m_message->holders.fetch_sub(1, std::memory_order_acq_rel);
  }
  explicit operator bool() const { return m_message != nullptr; }
  const std::vector<uint8_t>& bytes() const { return m_message->bytes; }
  std::vector<uint8_t>& mutableBytes() { return m_message->bytes; }

 private:
  Message* m_message = nullptr;
};

class MessagePool {
 public:
  // At most `capacity` buffers exist; each is as large as the biggest
  // message it ever carried.
  explicit MessagePool(size_t capacity);
  // A free buffer resized to `bytes`, or an empty reference when every
  // buffer is still held (the caller then skips this frame).
  // REQUIRES: one acquiring thread at a time.
  MessageRef acquire(size_t bytes);
  size_t allocated() const { return m_messages.size(); }

 private:
  size_t m_capacity;
  std::vector<std::unique_ptr<Message>> m_messages;
};

}  // namespace sarvik_viewer

#endif  // SARVIK_VIEWER_MESSAGE_POOL_H
