# sarvik_module_part(<folder> [USES <folder>...])
#
# Makes one folder of the module the object library sarvik_<folder>, from
# every .cpp in it, and declares the lower folders it may use.
#
# The layering is held by the include path: the folder's sources see include/
# and one root generated in the build tree, layers/<folder>/, which holds a
# link to the folder itself and to each folder it USES and nothing else. An
# #include "context/..." in pipeline/ therefore finds no file and fails to
# compile. Links rather than copies keep edits and error messages pointing at
# the sources. A folder may only use folders declared before it (the top-level
# list adds them lowest first), so the declarations cannot form a cycle.
#
# Tests, fuzz targets and benches of internals reach the whole module through
# sarvik_module_flags (the source root on the path) instead; they are not a
# layer.
function(sarvik_module_part part)
  cmake_parse_arguments(P "" "" "USES" ${ARGN})
  set(root ${PROJECT_BINARY_DIR}/layers/${part})
  file(REMOVE_RECURSE ${root})
  file(MAKE_DIRECTORY ${root})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${part} SYMBOLIC)
  foreach(lower ${P_USES})
    if(NOT TARGET sarvik_${lower})
      message(FATAL_ERROR "${part} uses ${lower}, which is not a layer below it")
    endif()
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${lower} ${root}/${lower} SYMBOLIC)
  endforeach()

  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(sarvik_${part} OBJECT ${sources})
  target_include_directories(sarvik_${part} PRIVATE ${PROJECT_SOURCE_DIR}/include ${root})
  target_link_libraries(sarvik_${part} PRIVATE sarvik_part_flags)
  # An object library has no link step: the declared links order the build
  # and show the layers (cmake --graphviz); they pass no objects on, so a
  # consumer still names every part it links, and the module gets all of
  # them through SARVIK_PART_OBJECTS.
  foreach(lower ${P_USES})
    target_link_libraries(sarvik_${part} PRIVATE sarvik_${lower})
  endforeach()
endfunction()
