# Runs the package's tests with Debian's interpreter. pytest's exit code 5
# ("no tests collected") counts as a pass; every other non-zero code fails.
set(ENV{PYTHONPATH} "${PYTHONPATH}")
set(ENV{SARVIK_PY_REFERENCE} "${REFERENCE}")
set(ENV{SARVIK_PY_EXAMPLES} "${EXAMPLES}")
set(ENV{PYTHONDONTWRITEBYTECODE} "1")
# For the install test: where to install from, with which cmake, to where.
set(ENV{SARVIK_PY_BUILD_DIR} "${BUILD_DIR}")
set(ENV{SARVIK_PY_CMAKE} "${CMAKE_COMMAND}")
set(ENV{SARVIK_PY_PACKAGE_INSTALL_DIR} "${PACKAGE_INSTALL_DIR}")
set(ENV{SARVIK_PY_MODULE_INSTALL_DIR} "${MODULE_INSTALL_DIR}")
execute_process(
  COMMAND ${PYTHON} -m pytest -q -p no:cacheprovider ${TESTS}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0 AND NOT result EQUAL 5)
  message(FATAL_ERROR "pytest failed with exit code ${result}")
endif()
