# The V4L2 back end's per-frame path over the scripted fake device.
if(TARGET SarvikV4l2Backend AND benchmark_FOUND)
  add_executable(v4l2_bench
    ${CMAKE_CURRENT_LIST_DIR}/v4l2_bench.cpp
    ${CMAKE_SOURCE_DIR}/tests/plugins/v4l2/fake_v4l2_device.cpp
    ${CMAKE_SOURCE_DIR}/tests/plugins/v4l2/fake_v4l2_scripts.cpp)
  target_include_directories(v4l2_bench PRIVATE ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/tests)
  target_link_libraries(v4l2_bench PRIVATE SarvikV4l2Backend benchmark::benchmark Threads::Threads)
endif()
