// The module file this copy of the package was built or installed for, as
// the package's _paths.py names it; empty until the package sets it.
#ifndef SARVIK_PYTHON_MODULE_PATH_H
#define SARVIK_PYTHON_MODULE_PATH_H

#include <string>

namespace sarvik_py {

std::string& bakedModulePath();

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_MODULE_PATH_H
