# Script run by CTest: install, build the consumer against the install, run it.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(stage ${WORK_DIR}/stage)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${stage})
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build -G Ninja
    -DCMAKE_BUILD_TYPE=Release
    -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}
    -DCMAKE_PREFIX_PATH=${stage})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WINE_RUN} --prefix ${WINE_PREFIX} ${WORK_DIR}/build/consumer.exe)
string(STRIP "${output}" output)
if(NOT output STREQUAL EXPECT)
  message(FATAL_ERROR "consumer printed '${output}', expected '${EXPECT}'")
endif()
message(STATUS "consumer printed: ${output}")
