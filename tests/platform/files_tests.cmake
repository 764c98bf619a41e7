# Files, paths and run-time loading. Included by this folder's CMakeLists.txt.

sarvik_add_test(NAME platform_file_impl_test
  SOURCES file_impl_test.cpp
  LIBS sarvik_platform sarvik_logging LABELS unit)

sarvik_add_test(NAME platform_paths_test
  SOURCES path_utils_test.cpp module_path_test.cpp
  LIBS sarvik_platform sarvik_logging LABELS unit)

# Shared objects for the probe and the loader, kept apart from lib/ so that
# nothing else ever finds them.
set(SARVIK_PLATFORM_FIXTURE_DIR ${CMAKE_CURRENT_BINARY_DIR}/fixtures)
set(_files_fixture_defines)
set(_files_fixture_targets)
foreach(variant DEFINES_INSTANCE WEAK_INSTANCE IMPORTS_INSTANCE NEAR_MISSES)
  string(TOLOWER ${variant} _files_name)
  set(_files_target sarvik_probe_${_files_name})
  add_library(${_files_target} SHARED ${CMAKE_CURRENT_SOURCE_DIR}/fixtures/probe_fixture.cpp)
  target_compile_definitions(${_files_target} PRIVATE FIXTURE_${variant})
  set_target_properties(${_files_target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${SARVIK_PLATFORM_FIXTURE_DIR})
  list(APPEND _files_fixture_defines FIXTURE_${variant}_PATH="$<TARGET_FILE:${_files_target}>")
  list(APPEND _files_fixture_targets ${_files_target})
endforeach()

# Built from the module's own sources, so that it finds its folder exactly as
# the module does.
add_library(sarvik_module_path_fixture SHARED
  ${CMAKE_CURRENT_SOURCE_DIR}/fixtures/module_path_fixture.cpp
  ${PROJECT_SOURCE_DIR}/platform/module_path.cpp
  ${PROJECT_SOURCE_DIR}/platform/path_utils.cpp)
target_include_directories(sarvik_module_path_fixture PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(sarvik_module_path_fixture PRIVATE ${CMAKE_DL_LIBS})
set_target_properties(sarvik_module_path_fixture PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${SARVIK_PLATFORM_FIXTURE_DIR})

target_compile_definitions(platform_paths_test PRIVATE
  SARVIK_TEST_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/"
  MODULE_PATH_FIXTURE_PATH="$<TARGET_FILE:sarvik_module_path_fixture>")
add_dependencies(platform_paths_test sarvik_module_path_fixture)

sarvik_add_test(NAME platform_loading_test
  SOURCES driver_probe_test.cpp dynamic_library_test.cpp
  LIBS sarvik_platform sarvik_logging LABELS unit)
target_compile_definitions(platform_loading_test PRIVATE ${_files_fixture_defines})
add_dependencies(platform_loading_test ${_files_fixture_targets})
