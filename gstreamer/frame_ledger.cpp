#include "frame_ledger.h"

#include <algorithm>

namespace sarvik_gst {

int wrapBudget(int streamers) {
  if (streamers < 1) streamers = 1;
  return std::max(0, (7 - 3 * streamers) / streamers);
}

GstMemory* FrameLedger::lend(typedefSarvikFrame* frame, gsize size, int limit) {
  Loan* loan = nullptr;
  {
    std::lock_guard<std::mutex> guard(m_lock);
    if (m_lent >= std::min(limit, kMaxLent)) return nullptr;
    for (Loan& candidate : m_loans) {
      if (candidate.frame == nullptr) {
        loan = &candidate;
        break;
      }
    }
    if (loan == nullptr) return nullptr;
    loan->frame = frame;
    loan->keep = shared_from_this();
    ++m_lent;
  }
  // The memory never writes the pixels: the frame may be shared with other
  // streams of the sensor.
  GstMemory* memory = gst_memory_new_wrapped(GST_MEMORY_FLAG_READONLY, frame->data, size, 0, size, loan,
                                             &FrameLedger::onMemoryFreed);
  gst_mini_object_set_qdata(GST_MINI_OBJECT_CAST(memory), g_quark_from_static_string(SARVIK_GST_FRAME_QDATA),
                            frame, nullptr);
  return memory;
}

void FrameLedger::onMemoryFreed(gpointer data) {
  Loan* loan = static_cast<Loan*>(data);
  // Taken out first: the last loan may hold the last reference to the ledger,
  // which then goes when `keep` leaves this scope, not while it is in use.
  std::shared_ptr<FrameLedger> keep = std::move(loan->keep);
  typedefSarvikFrame* frame = loan->frame;
  keep->giveBack(frame);
  std::lock_guard<std::mutex> guard(keep->m_lock);
  loan->frame = nullptr;
  --keep->m_lent;
}

int FrameLedger::lent() const {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_lent;
}

void FrameLedger::giveBack(typedefSarvikFrame* frame) const {
  if (frame != nullptr) m_camera->context()->releaseFrame(frame);
}

}  // namespace sarvik_gst
