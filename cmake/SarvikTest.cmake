# sarvik_add_test(NAME name SOURCES ... [LIBS ...] [LABELS unit|stress])
# One GoogleTest executable per call, registered with ctest under its label.
find_package(GTest QUIET)
function(sarvik_add_test)
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
