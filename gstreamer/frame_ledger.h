// Lending the SDK's frames to GStreamer without copying them.
//
// A wrapped buffer's memory is the frame's own pixel buffer; the memory keeps
// the frame referenced and gives it back when GStreamer frees it. But the
// sensor's pool is small: at most 10 frames, and it hands out none once
// fewer than 3 are free. Frames lent out for long (a queue, an encoder's
// look-ahead, a sink holding its last buffer) would starve the camera, so
// only a budget of frames is lent at a time and beyond it pixels are copied
// into GStreamer memory and the frame goes back at once.
//
// The budget, per element, with n elements streaming from one sensor: of the
// 10 frames at most 7 may be out when the camera asks for the next one. Each
// element's stream always holds up to 3 (the module's queue of depth 1, the
// frame handed over to the element and the one it is turning into a buffer),
// so (7 - 3n) / n remain to lend: 4 for one element, none for two or more.
#ifndef SARVIK_GST_FRAME_LEDGER_H
#define SARVIK_GST_FRAME_LEDGER_H

#include <gst/gst.h>

#include <array>
#include <memory>
#include <mutex>

#include "sarvik_session.h"

namespace sarvik_gst {

// The qdata name under which a wrapped memory carries its frame record
// (const typedefSarvikFrame*, valid while the memory lives).
#define SARVIK_GST_FRAME_QDATA "sarvik-frame"

// Frames one element may lend with `streamers` elements on its sensor.
int wrapBudget(int streamers);

class FrameLedger : public std::enable_shared_from_this<FrameLedger> {
 public:
  static constexpr int kMaxLent = 10;  // the pool's size: no more can ever be out

  explicit FrameLedger(std::shared_ptr<SharedCamera> camera) : m_camera(std::move(camera)) {}
  FrameLedger(const FrameLedger&) = delete;
  FrameLedger& operator=(const FrameLedger&) = delete;

  // Read-only memory over the frame's first `size` bytes that owns the
  // caller's reference to `frame` from now on; null (reference still the
  // caller's) when `limit` frames are lent already.
  GstMemory* lend(typedefSarvikFrame* frame, gsize size, int limit);
  // Frames lent and not yet back.
  int lent() const;
  // Gives one reference back to the module.
  void giveBack(typedefSarvikFrame* frame) const;

 private:
  struct Loan {
    std::shared_ptr<FrameLedger> keep;  // the ledger outlives its loans
    typedefSarvikFrame* frame = nullptr;
  };
  static void onMemoryFreed(gpointer loan);

  std::shared_ptr<SharedCamera> m_camera;  // keeps the context up for releaseFrame
  mutable std::mutex m_lock;               // guards m_loans and m_lent
  std::array<Loan, kMaxLent> m_loans;
  int m_lent = 0;
};

}  // namespace sarvik_gst

#endif  // SARVIK_GST_FRAME_LEDGER_H
