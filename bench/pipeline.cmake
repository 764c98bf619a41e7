# The pipeline benchmark loads a private copy of the module with a minimal
# plug-in beside it; the plug-in lives apart from lib/ so that the module in
# lib/ never binds it.
add_library(SarvikBenchDriver SHARED ${CMAKE_CURRENT_LIST_DIR}/bench_driver.cpp)
target_include_directories(SarvikBenchDriver PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
target_link_libraries(SarvikBenchDriver PRIVATE Threads::Threads)
set_target_properties(SarvikBenchDriver PROPERTIES
  LIBRARY_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/benchplugins)

add_executable(pipeline_bench ${CMAKE_CURRENT_LIST_DIR}/pipeline_bench.cpp)
target_include_directories(pipeline_bench PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
target_compile_definitions(pipeline_bench PRIVATE SARVIK_BUILD_LIB_DIR="${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
target_link_libraries(pipeline_bench PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
target_link_options(pipeline_bench PRIVATE -rdynamic)
add_dependencies(pipeline_bench SarvikBenchDriver SarvikCommonDriver)
