# Writes the sarvik man page with help2man: the program's --help makes the
# synopsis and options, and each subcommand's own --help goes into a
# COMMANDS section, so the page says everything the program says.
# Run with -DPROGRAM=... -DHELP2MAN=... -DVERSION=... -DOUTPUT=...
execute_process(COMMAND ${PROGRAM} --help OUTPUT_VARIABLE top RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} --help failed")
endif()
string(REGEX MATCH "\nSubcommands:\n.*" listing "${top}")
string(REGEX MATCHALL "\n  [a-z][a-z0-9-]*" commands "${listing}")

set(include "[COMMANDS]\n")
foreach(command IN LISTS commands)
  string(STRIP "${command}" command)
  execute_process(COMMAND ${PROGRAM} ${command} --help OUTPUT_VARIABLE text RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} ${command} --help failed")
  endif()
  # roff: a backslash is written \e, and a line may not start with . or '.
  string(REPLACE "\\" "\\e" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  string(APPEND include ".SS ${command}\n.nf\n${text}.fi\n")
endforeach()
file(WRITE ${OUTPUT}.include "${include}")

execute_process(COMMAND ${HELP2MAN} --no-info --version-string=${VERSION}
                        "--name=depth-camera SDK command-line tool" --section=1
                        --include=${OUTPUT}.include --output=${OUTPUT}.tmp ${PROGRAM}
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "help2man failed on ${PROGRAM}")
endif()
file(RENAME ${OUTPUT}.tmp ${OUTPUT})
