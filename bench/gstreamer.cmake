# The GStreamer source: buffers that lend the frame's memory against buffers
# that copy it (max-wrapped=0, the baseline), same camera, same run.
if(TARGET benchmark::benchmark AND TARGET gstsarvik)
  add_executable(gstreamer_source_bench ${CMAKE_CURRENT_LIST_DIR}/gstreamer_source_bench.cpp)
  target_link_libraries(gstreamer_source_bench PRIVATE PkgConfig::SARVIK_GST benchmark::benchmark
                        Threads::Threads ${CMAKE_DL_LIBS})
  target_compile_definitions(gstreamer_source_bench PRIVATE
    SARVIK_BUILD_LIB_DIR="${CMAKE_LIBRARY_OUTPUT_DIRECTORY}"
    SARVIK_GST_PLUGIN_FILE="$<TARGET_FILE:gstsarvik>")
  add_dependencies(gstreamer_source_bench gstsarvik SarvikCommonDriver SarvikUvcDriver)
endif()
