// A frame as Python sees it, and the rule for frames Python keeps.
//
// frame.data is a numpy array over the frame's own buffer: no copy. Each array
// holds a reference to the frame, so the frame goes back to its pool when the
// Frame object has been released (or collected) and the last array over it is
// gone.
//
// The pool of a sensor holds at most 10 frames and hands none out once fewer
// than 3 are free; each started stream's queue holds one more. A program that
// keeps arrays (in a list, a queue) would stall the camera. So the binding
// counts the module frames Python holds per sensor of a device, and once that
// count reaches the context's limit (4 by default), a newly handed-out frame is
// copied into memory of its own and its module frame goes back at once. Arrays
// handed out earlier are not touched: numpy cannot re-point an array, and the
// views made from it keep raw pointers, so moving them would be a
// use-after-free. The copies are counted (Stream.frames_copied,
// sarvik.frames_copied()).
//
// frame.release() (or the end of a `with` block) drops the Frame's own hold at
// once; from then on frame.data raises sarvik.Error. Arrays taken before keep
// the buffer valid, and so the frame out of the pool, until they are gone; the
// limit above keeps such arrays from ever stalling the camera.
#ifndef SARVIK_PYTHON_FRAME_H
#define SARVIK_PYTHON_FRAME_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "sarvik/SarvikTypes.h"

namespace sarvik_py {

// Module frames Python holds from one sensor of one device.
struct SensorHold {
  std::atomic<int32_t> held{0};
};

// Frames copied because Python held too many, over the whole process.
std::atomic<uint64_t>& framesCopiedTotal();

// One reference to a module frame, or a private copy of one. Shared by the
// Frame object and every array over its pixels; the last owner gives the
// reference back.
class FrameHolder {
 public:
  // Takes over the application's reference to `record`.
  FrameHolder(typedefSarvikFrame* record, std::shared_ptr<SensorHold> hold);
  // A private copy of `record`'s pixels; the caller still owns its reference.
  explicit FrameHolder(const typedefSarvikFrame* record);
  ~FrameHolder();
  FrameHolder(const FrameHolder&) = delete;
  FrameHolder& operator=(const FrameHolder&) = delete;

  const typedefSarvikFrame& meta() const { return m_meta; }
  const void* pixels() const { return m_meta.data; }
  bool copied() const { return m_copy != nullptr; }

 private:
  typedefSarvikFrame m_meta;  // the record's values when handed out; data points at the pixels
  typedefSarvikFrame* m_record = nullptr;
  void* m_copy = nullptr;
  std::shared_ptr<SensorHold> m_hold;
};

// Gives back the application's reference to a record the module handed out.
void releaseRecord(typedefSarvikFrame* record);

class Frame {
 public:
  explicit Frame(std::shared_ptr<FrameHolder> holder);

  // Applies the hold limit: a holder over `record` when the sensor has room,
  // else a copy (the record's reference goes back at once). Takes over the
  // application's reference to `record`. `copies` counts copies of a stream.
  static Frame make(typedefSarvikFrame* record, const std::shared_ptr<SensorHold>& hold, int32_t limit,
                    std::atomic<uint64_t>* copies);

  pybind11::array data() const;     // shaped by pixel format, read-only
  pybind11::array buffer() const;   // the dataSize bytes, uint8, read-only
  void release() { m_holder.reset(); }
  bool released() const { return m_holder == nullptr; }
  bool copied() const { return m_holder != nullptr && m_holder->copied(); }
  uint64_t bufferAddress() const;
  const typedefSarvikFrame& meta() const { return m_meta; }

 private:
  const FrameHolder& holder() const;  // raises after release
  std::shared_ptr<FrameHolder> m_holder;
  typedefSarvikFrame m_meta;
};

void bindFrame(pybind11::module_& m);

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_FRAME_H
