# Depth imaging: each conversion against its scalar reference and against a
# loop that only moves the same bytes, with a ratio summary at the end.
if(TARGET benchmark::benchmark AND TARGET sarvik_imaging)
  add_executable(imaging_bench ${CMAKE_CURRENT_LIST_DIR}/imaging_bench.cpp)
  target_link_libraries(imaging_bench PRIVATE sarvik_imaging sarvik_logging sarvik_platform
                        benchmark::benchmark Threads::Threads ${CMAKE_DL_LIBS})
  target_include_directories(imaging_bench PRIVATE
                             ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/tests)
endif()
