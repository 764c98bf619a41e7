# The examples as they are built in the tree run as tests on the simulated
# camera; their files go to a folder of the build.
set(_example_out ${PROJECT_BINARY_DIR}/example-output)
file(MAKE_DIRECTORY ${_example_out})
foreach(example list_devices read_depth frame_callback wait_streams record_inspect point_cloud_ply)
  if(TARGET example_${example})
    set(_args)
    if(example STREQUAL "record_inspect")
      set(_args ${_example_out}/example.rec)
    elseif(example STREQUAL "point_cloud_ply")
      set(_args ${_example_out}/example.ply)
    endif()
    add_test(NAME example_${example} COMMAND example_${example} ${_args})
    set_tests_properties(example_${example} PROPERTIES LABELS unit TIMEOUT 120)
  endif()
endforeach()

# scripts/check-install.sh as one test, label "package". A sanitizer build is
# left out: its module cannot be loaded into the plain programs it builds.
if(SARVIK_SANITIZE STREQUAL "" AND NOT CMAKE_CROSSCOMPILING)
  add_test(NAME package_install_check COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-install.sh ${PROJECT_BINARY_DIR})
  set_tests_properties(package_install_check PROPERTIES LABELS package TIMEOUT 900
    ENVIRONMENT "CMAKE=${CMAKE_COMMAND};CPACK=${CMAKE_CPACK_COMMAND};CXX=${CMAKE_CXX_COMPILER}")
endif()
