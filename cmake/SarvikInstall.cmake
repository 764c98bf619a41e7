# What `cmake --install` and the Debian package put where:
#   <libdir>/sarvik/        the module and its plug-ins, together: the module
#                           loads its plug-ins from its own folder
#   include/sarvik/         the public headers, plus SarvikInstallDirs.h
#   bin/sarvik, man1        the program and its man page (tools/)
#   <libdir>/cmake/Sarvik/  SarvikConfig.cmake: find_package(Sarvik) -> Sarvik::sdk
#   <libdir>/pkgconfig/     sarvik.pc
# Nothing installed carries an RPATH; every path an application needs is
# derived from where the files were installed, so any prefix works.
include(CMakePackageConfigHelpers)

if(IS_ABSOLUTE "${SARVIK_INSTALL_MODULE_DIR}")
  message(FATAL_ERROR "SARVIK_INSTALL_MODULE_DIR must be relative to the prefix, not ${SARVIK_INSTALL_MODULE_DIR}")
endif()

install(TARGETS SarvikCommonDriver LIBRARY DESTINATION ${SARVIK_INSTALL_MODULE_DIR})
foreach(plugin SarvikUvcDriver SarvikNetDriver SarvikLogDriver)
  if(TARGET ${plugin})
    install(TARGETS ${plugin} LIBRARY DESTINATION ${SARVIK_INSTALL_MODULE_DIR})
  endif()
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/sarvik DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
# An installed module must still be free of RPATH (see CheckNoRunpath.cmake).
install(CODE "execute_process(COMMAND \${CMAKE_COMMAND}
  -DFILE=\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${SARVIK_INSTALL_MODULE_DIR}/$<TARGET_FILE_NAME:SarvikCommonDriver>
  -P ${PROJECT_SOURCE_DIR}/cmake/CheckNoRunpath.cmake COMMAND_ERROR_IS_FATAL ANY)")

set(_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Sarvik)
install(TARGETS sarvik_sdk EXPORT SarvikTargets)
install(EXPORT SarvikTargets NAMESPACE Sarvik:: DESTINATION ${_config_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/SarvikConfig.cmake.in
  ${PROJECT_BINARY_DIR}/SarvikConfig.cmake INSTALL_DESTINATION ${_config_dir}
  PATH_VARS SARVIK_INSTALL_MODULE_DIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/SarvikConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SarvikConfig.cmake ${PROJECT_BINARY_DIR}/SarvikConfigVersion.cmake
        DESTINATION ${_config_dir})

# pkg-config cannot hand a quoted string to a plain `$(pkg-config --cflags)`
# in a shell, so the module's folder reaches SarvikLoader.h through a header
# written at install time with the prefix actually used (DESTDIR aside).
install(CODE "set(SARVIK_INSTALL_MODULE_DIR ${SARVIK_INSTALL_MODULE_DIR})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/SarvikInstallDirs.h.in
  \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_INCLUDEDIR}/sarvik/SarvikInstallDirs.h @ONLY)
  message(STATUS \"Installing: \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_INCLUDEDIR}/sarvik/SarvikInstallDirs.h\")")
file(RELATIVE_PATH SARVIK_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" SARVIK_PC_TO_PREFIX "${SARVIK_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/sarvik.pc.in ${PROJECT_BINARY_DIR}/sarvik.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/sarvik.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
