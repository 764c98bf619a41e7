#include "message_pool.h"

namespace sarvik_viewer {

MessagePool::MessagePool(size_t capacity) : m_capacity(capacity) { m_messages.reserve(capacity); }

MessageRef MessagePool::acquire(size_t bytes) {
  Message* chosen = nullptr;
  for (const std::unique_ptr<Message>& message : m_messages) {
    if (message->holders.load(std::memory_order_acquire) == 0) {
      chosen = message.get();
      break;
    }
  }
  if (chosen == nullptr) {
    if (m_messages.size() >= m_capacity) return MessageRef();
    m_messages.push_back(std::make_unique<Message>());
    chosen = m_messages.back().get();
  }
  MessageRef ref(chosen);
  ref.mutableBytes().resize(bytes);
  return ref;
}

}  // namespace sarvik_viewer
