# Test and benchmark libraries are optional: without one, its part is switched
# off with one configure message and everything else still builds.
#
# sarvik_add_test(NAME name SOURCES ... [LIBS ...] [LABELS unit|stress])
# One GoogleTest executable per call, registered with ctest under its label.
find_package(GTest QUIET)
if(TARGET GTest::gmock AND TARGET GTest::gtest_main)
  set(SARVIK_HAVE_GTEST ON)
else()
  set(SARVIK_HAVE_GTEST OFF)
  message(STATUS "GoogleTest (libgtest-dev, libgmock-dev) not found: unit and stress tests are off "
                 "(scripts/install-deps.sh --test installs it)")
endif()

if(SARVIK_BUILD_BENCH)
  find_package(benchmark QUIET)
  if(NOT TARGET benchmark::benchmark)
    message(STATUS "Google Benchmark (libbenchmark-dev) not found: benchmarks built on it are off "
                   "(scripts/install-deps.sh --test installs it)")
  endif()
endif()

function(sarvik_add_test)
  if(NOT SARVIK_HAVE_GTEST)
    return()
  endif()
  cmake_parse_arguments(T "" "NAME" "SOURCES;LIBS;LABELS" ${ARGN})
  if(NOT T_LABELS)
    set(T_LABELS unit)
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gmock GTest::gtest_main Threads::Threads ${CMAKE_DL_LIBS})
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(${T_NAME} PRIVATE
    SARVIK_BUILD_LIB_DIR="${CMAKE_LIBRARY_OUTPUT_DIRECTORY}"
    SARVIK_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  add_test(NAME ${T_NAME} COMMAND ${T_NAME})
  set_tests_properties(${T_NAME} PROPERTIES LABELS "${T_LABELS}" TIMEOUT 600)
endfunction()
