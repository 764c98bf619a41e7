# `cpack -G DEB` in the build folder: one Debian package with everything
# `cmake --install` puts in place, installed under /usr.
set(CPACK_PACKAGE_NAME sarvik)
set(CPACK_PACKAGE_VENDOR "Sarvik SDK developers")
set(CPACK_PACKAGE_CONTACT "Sarvik SDK developers <sarvik@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Depth-camera SDK: the module, its plug-ins, headers and the sarvik program")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# With DESTDIR staging the install scripts see the real prefix, /usr, so that
# SarvikInstallDirs.h names where the package puts the module.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
find_program(SARVIK_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(SARVIK_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  # Without dpkg-dev the run-time dependencies are stated by hand.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6, libgcc-s1")
endif()
include(CPack)
