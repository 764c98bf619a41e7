#include "frame.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "errors.h"
#include "sarvik/SarvikCamera.h"
#include "sarvik/SarvikFrame.h"

namespace py = pybind11;

namespace sarvik_py {

std::atomic<uint64_t>& framesCopiedTotal() {
  static std::atomic<uint64_t> total{0};
  return total;
}

void releaseRecord(typedefSarvikFrame* record) {
  // The record's own count, not releaseFrame: that operation refuses once the
  // context is shut down and would leave the frame out for good, while arrays
  // may well outlive the context. The frame then deletes itself.
  sarvik::SarvikFrameRef::fromRecord(record)->release();
}

FrameHolder::FrameHolder(typedefSarvikFrame* record, std::shared_ptr<SensorHold> hold)
    : m_meta(*record), m_record(record), m_hold(std::move(hold)) {
  if (m_hold) m_hold->held.fetch_add(1, std::memory_order_relaxed);
}

FrameHolder::FrameHolder(const typedefSarvikFrame* record) : m_meta(*record) {
  // At least one byte, so that copied() holds also for an empty frame.
  m_copy = std::malloc(record->dataSize > 0 ? record->dataSize : 1);
  if (m_copy == nullptr) throw std::bad_alloc();
  if (record->dataSize > 0 && record->data != nullptr) std::memcpy(m_copy, record->data, record->dataSize);
  m_meta.data = m_copy;
}

FrameHolder::~FrameHolder() {
  if (m_record != nullptr) {
    releaseRecord(m_record);
    if (m_hold) m_hold->held.fetch_sub(1, std::memory_order_relaxed);
  }
  std::free(m_copy);
}

Frame::Frame(std::shared_ptr<FrameHolder> holder) : m_holder(std::move(holder)), m_meta(m_holder->meta()) {}

Frame Frame::make(typedefSarvikFrame* record, const std::shared_ptr<SensorHold>& hold, int32_t limit,
                  std::atomic<uint64_t>* copies) {
  if (hold && hold->held.load(std::memory_order_relaxed) >= limit) {
    std::shared_ptr<FrameHolder> copy;
    try {
      copy = std::make_shared<FrameHolder>(record);
    } catch (...) {
      releaseRecord(record);
      throw;
    }
    releaseRecord(record);
    framesCopiedTotal().fetch_add(1, std::memory_order_relaxed);
    if (copies != nullptr) copies->fetch_add(1, std::memory_order_relaxed);
    return Frame(std::move(copy));
  }
  return Frame(std::make_shared<FrameHolder>(record, hold));
}

const FrameHolder& Frame::holder() const {
  if (!m_holder) throwError("the frame was released");
  return *m_holder;
}

uint64_t Frame::bufferAddress() const { return reinterpret_cast<uintptr_t>(holder().pixels()); }

namespace {

// An array over the holder's pixels that keeps the holder alive.
py::array arrayOver(const std::shared_ptr<FrameHolder>& holder, py::dtype type, std::vector<py::ssize_t> shape) {
  auto* keep = new std::shared_ptr<FrameHolder>(holder);
  py::capsule base(keep, [](void* p) { delete static_cast<std::shared_ptr<FrameHolder>*>(p); });
  py::array array(type, std::move(shape), {}, holder->pixels(), base);
  py::detail::array_proxy(array.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
  return array;
}

}  // namespace

py::array Frame::buffer() const {
  const FrameHolder& h = holder();
  return arrayOver(m_holder, py::dtype::of<uint8_t>(), {static_cast<py::ssize_t>(h.meta().dataSize)});
}

py::array Frame::data() const {
  const FrameHolder& h = holder();
  const typedefSarvikFrame& f = h.meta();
  const uint32_t bytes = sarvikPixelBytes(f.pixelType);
  if (bytes == 0) return buffer();  // a format this package does not know: the raw bytes
  const uint64_t needed = static_cast<uint64_t>(f.width) * f.height * bytes;
  if (needed > f.dataSize || f.data == nullptr) {
    throwError("frame " + std::to_string(f.frameNumber) + " holds " + std::to_string(f.dataSize) +
               " bytes, too few for " + std::to_string(f.width) + "x" + std::to_string(f.height) + " " +
               sarvikPixelName(f.pixelType));
  }
  const auto h_ = static_cast<py::ssize_t>(f.height);
  const auto w_ = static_cast<py::ssize_t>(f.width);
  switch (f.pixelType) {
    case SARVIK_PIXEL_RGB24: return arrayOver(m_holder, py::dtype::of<uint8_t>(), {h_, w_, 3});
    case SARVIK_PIXEL_GRAY8: return arrayOver(m_holder, py::dtype::of<uint8_t>(), {h_, w_});
    default: return arrayOver(m_holder, py::dtype::of<uint16_t>(), {h_, w_});
  }
}

void bindFrame(py::module_& m) {
  py::class_<Frame>(m, "Frame", "One image of a stream. Use as a context manager to give it back early.")
      .def_property_readonly("data", &Frame::data,
                             "Pixels as a read-only numpy array over the frame's own buffer: uint16 (H, W) "
                             "for depth and 16-bit infrared, uint8 (H, W) for 8-bit infrared, uint8 (H, W, 3) "
                             "for colour")
      .def_property_readonly("buffer", &Frame::buffer, "the frame's bytes, uint8, read-only")
      .def_property_readonly("width", [](const Frame& f) { return f.meta().width; })
      .def_property_readonly("height", [](const Frame& f) { return f.meta().height; })
      .def_property_readonly("stream_type", [](const Frame& f) { return f.meta().streamType; })
      .def_property_readonly("pixel_format",
                             [](const Frame& f) -> py::object {
                               const char* name = sarvikPixelName(f.meta().pixelType);
                               if (name == nullptr) return py::int_(f.meta().pixelType);
                               return py::str(name);
                             })
      .def_property_readonly("frame_number", [](const Frame& f) { return f.meta().frameNumber; })
      .def_property_readonly("timestamp", [](const Frame& f) { return f.meta().frameStamp; },
                             "the producer's stamp, microseconds")
      .def_property_readonly("data_size", [](const Frame& f) { return f.meta().dataSize; })
      .def_property_readonly("copied", &Frame::copied,
                             "True when the pixels are a copy because Python held too many frames")
      .def_property_readonly("released", &Frame::released)
      .def_property_readonly("_buffer_address", &Frame::bufferAddress)
      .def("release", &Frame::release, "Give the frame back now; arrays taken before keep its buffer")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](Frame& f, py::args) { f.release(); })
      .def("__repr__", [](const Frame& f) {
        const char* name = sarvikPixelName(f.meta().pixelType);
        return "<sarvik.Frame " + std::to_string(f.meta().frameNumber) + " " + std::to_string(f.meta().width) +
               "x" + std::to_string(f.meta().height) + " " + (name != nullptr ? name : "?") +
               (f.released() ? " released" : "") + ">";
      });
  m.def("frames_copied", [] { return framesCopiedTotal().load(); },
        "frames copied so far because Python held too many of one sensor");
}

}  // namespace sarvik_py
