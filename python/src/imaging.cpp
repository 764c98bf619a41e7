#include "imaging.h"

#include <pybind11/numpy.h>

#include <climits>
#include <mutex>
#include <shared_mutex>

#include "errors.h"
#include "module_path.h"
#include "runtime.h"

namespace py = pybind11;

namespace sarvik_py {

namespace {

using DepthArray = py::array_t<uint16_t, py::array::c_style>;

// The depth argument as a C-ordered uint16 (H, W) array. A non-contiguous
// uint16 array is made contiguous (one copy); any other dtype is refused
// rather than converted, since a float or int32 depth image is almost
// always a mistake of units.
DepthArray depthArgument(py::handle depth) {
  py::array array = py::array::ensure(depth);
  if (!array) throw py::type_error("depth must be a numpy array");
  if (!array.dtype().is(py::dtype::of<uint16_t>())) {
    throw py::type_error("depth must be a uint16 array, not " + py::cast<std::string>(py::str(array.dtype())));
  }
  if (array.ndim() != 2) throw py::value_error("depth must have two dimensions (height, width)");
  // The module indexes pixels with a signed 32-bit number.
  if (array.shape(0) > UINT32_MAX || array.shape(1) > UINT32_MAX ||
      static_cast<uint64_t>(array.shape(0)) * static_cast<uint64_t>(array.shape(1)) > INT32_MAX) {
    throw py::value_error("depth image too large");
  }
  return DepthArray::ensure(array);
}

// Runs f(context) on the open context, or on the module's context object
// made for this purpose if none is open: the conversions need no camera.
template <class F>
void withAnyContext(F&& f) {
  Runtime& runtime = Runtime::instance();
  runtime.load(bakedModulePath());
  py::gil_scoped_release nogil;
  for (;;) {
    {
      std::shared_lock<std::shared_mutex> lock(runtime.life());
      if (runtime.current() != nullptr) {
        f(runtime.current());
        return;
      }
    }
    std::unique_lock<std::shared_mutex> lock(runtime.life());
    runtime.ensureCurrent();
  }
}

py::array_t<float> pointCloud(py::handle depthArg, float fx, float fy, float cx, float cy, float scale,
                              uint32_t encoding, bool clip) {
  DepthArray depth = depthArgument(depthArg);
  const auto height = static_cast<uint32_t>(depth.shape(0));
  const auto width = static_cast<uint32_t>(depth.shape(1));
  py::array_t<float> points({static_cast<py::ssize_t>(width) * height, py::ssize_t{3}});
  auto* out = reinterpret_cast<typedefSarvikPoint3D*>(points.mutable_data());
  const uint16_t* in = depth.data();
  if (width > 0 && height > 0) {
    withAnyContext([&](SarvikBaseContext* c) {
      c->depthToPointCloud(in, width, height, scale, fx, fy, cx, cy, out, encoding, clip);
    });
  }
  return points;
}

py::tuple colouredCloud(py::handle depthArg, float scale, uint32_t encoding) {
  DepthArray depth = depthArgument(depthArg);
  const auto height = static_cast<uint32_t>(depth.shape(0));
  const auto width = static_cast<uint32_t>(depth.shape(1));
  const auto n = static_cast<py::ssize_t>(width) * height;
  py::array_t<float> points({n, py::ssize_t{3}});
  py::array_t<float> colours({n, py::ssize_t{4}});
  auto* outPoints = reinterpret_cast<typedefSarvikPoint3D*>(points.mutable_data());
  auto* outColours = reinterpret_cast<typedefSarvikRGBA*>(colours.mutable_data());
  const uint16_t* in = depth.data();
  if (n > 0) {
    withAnyContext([&](SarvikBaseContext* c) {
      // The coloured cloud replaces the intrinsics with its own.
      c->depthToColouredCloud(in, width, height, scale, 0.0f, 0.0f, 0.0f, 0.0f, outPoints, outColours, encoding);
    });
  }
  return py::make_tuple(points, colours);
}

}  // namespace

void bindImaging(py::module_& m) {
  m.def("depth_to_point_cloud", &pointCloud, py::arg("depth"), py::arg("fx"), py::arg("fy"), py::arg("cx"),
        py::arg("cy"), py::arg("scale"), py::arg("encoding") = 0, py::arg("clip") = false,
        "An (H*W, 3) float32 array of points, one per pixel (0, 0, 0 where there is no depth), from a uint16 "
        "(H, W) depth image. encoding: 1 four, 2 three, other two fractional bits; clip drops samples at the "
        "format's cut-off. Bad intrinsics (any <= 0) are replaced by the module's fall-back set.");
  m.def("depth_to_coloured_cloud", &colouredCloud, py::arg("depth"), py::arg("scale"), py::arg("encoding") = 0,
        "(points, colours): (H*W, 3) and (H*W, 4) float32 arrays; the colour of a point comes from its depth");
}

}  // namespace sarvik_py
