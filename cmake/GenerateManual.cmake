# Runs a built tool (through the cross-compiling emulator when there is one) for its man page
# and bash completion script, both made from the tool's own command table.
#   cmake -DTOOL=path -DNAME=name -DOUT=dir [-DEMULATOR=cmd;args] -P GenerateManual.cmake
file(MAKE_DIRECTORY ${OUT}/man1 ${OUT}/completions)
execute_process(COMMAND ${EMULATOR} ${TOOL} --man OUTPUT_FILE ${OUT}/man1/${NAME}.1 RESULT_VARIABLE man)
execute_process(COMMAND ${EMULATOR} ${TOOL} --bash-completion OUTPUT_FILE ${OUT}/completions/${NAME}
                RESULT_VARIABLE completion)
if(NOT man EQUAL 0 OR NOT completion EQUAL 0)
  message(FATAL_ERROR "${NAME} --man / --bash-completion failed: ${man} / ${completion}")
endif()
# Debian keeps man pages compressed, without a name or time stamp in the header.
execute_process(COMMAND gzip -9nf ${OUT}/man1/${NAME}.1 RESULT_VARIABLE zipped)
if(NOT zipped EQUAL 0)
  message(FATAL_ERROR "gzip ${NAME}.1 failed")
endif()
