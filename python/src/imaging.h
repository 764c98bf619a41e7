// The module's depth conversions over numpy arrays: the module writes the
// points straight into the memory of the returned array.
#ifndef SARVIK_PYTHON_IMAGING_H
#define SARVIK_PYTHON_IMAGING_H

#include <pybind11/pybind11.h>

namespace sarvik_py {

void bindImaging(pybind11::module_& m);

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_IMAGING_H
