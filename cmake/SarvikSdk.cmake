# The SDK as an application uses it: the headers, -ldl for SarvikLoader.h, and
# where the module is. In the build tree that is lib/ of the build folder.
add_library(sarvik_sdk INTERFACE)
add_library(Sarvik::sdk ALIAS sarvik_sdk)
set_target_properties(sarvik_sdk PROPERTIES EXPORT_NAME sdk)
target_include_directories(sarvik_sdk INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(sarvik_sdk INTERFACE ${CMAKE_DL_LIBS})
target_compile_definitions(sarvik_sdk INTERFACE
  "$<BUILD_INTERFACE:SARVIK_MODULE_DIR=\"${CMAKE_LIBRARY_OUTPUT_DIRECTORY}\">"
  "$<INSTALL_INTERFACE:SARVIK_MODULE_DIR=\"$<INSTALL_PREFIX>/${SARVIK_INSTALL_MODULE_DIR}\">")
