# Compiles one probe per module folder with the include path of PART's
# sources: the probe of a folder in BELOW (or PART itself) must compile, the
# probe of any other must fail for want of the header. Each probe includes
# every header of its folder, so a header that climbs a layer fails too.
cmake_policy(SET CMP0057 NEW)
set(failures "")
file(MAKE_DIRECTORY ${PROBE_DIR})
foreach(folder ${PARTS})
  file(GLOB headers RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/${folder}/*.h)
  list(SORT headers)
  set(text "")
  foreach(header ${headers})
    string(APPEND text "#include \"${header}\"\n")
  endforeach()
  set(probe ${PROBE_DIR}/includes_${folder}.cpp)
  file(WRITE ${probe} "${text}")
  execute_process(
    COMMAND ${COMPILER} -std=c++17 -fsyntax-only -DSARVIK_BUILDING_MODULE
            -I${SOURCE_DIR}/include -I${ROOT} ${probe}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(folder STREQUAL PART OR folder IN_LIST BELOW)
    if(NOT rc EQUAL 0)
      string(APPEND failures "${PART} cannot compile the headers of ${folder}:\n${out}\n")
    endif()
  elseif(rc EQUAL 0)
    string(APPEND failures "${PART} can include ${folder}/, a layer it must not see\n")
  elseif(NOT out MATCHES "${folder}/[a-z_]+\\.h: No such file or directory")
    string(APPEND failures "${PART} including ${folder}/ failed, but not for want of the header:\n${out}\n")
  endif()
endforeach()
if(failures)
  message(FATAL_ERROR "${failures}")
endif()
