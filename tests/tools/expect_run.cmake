# Runs the Windows PROGRAM under Wine with ARGS (separated by "|") and checks
# its exit code against CODE and its combined output against the regular
# expression MATCH; a failure must say what went wrong in one line.
string(REPLACE "|" ";" args "${ARGS}")
execute_process(COMMAND ${WINE_RUN} --prefix ${WINE_PREFIX} ${PROGRAM} ${args} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(all "${out}${err}")
if(NOT status STREQUAL CODE)
  message(FATAL_ERROR "exit code ${status}, expected ${CODE}\n${all}")
endif()
if(NOT all MATCHES "${MATCH}")
  message(FATAL_ERROR "output does not match '${MATCH}':\n${all}")
endif()
string(REGEX MATCHALL "\n" lines "${err}")
list(LENGTH lines count)
if(NOT CODE EQUAL 0 AND count GREATER 1)
  message(FATAL_ERROR "a failure should print one line, printed:\n${err}")
endif()
