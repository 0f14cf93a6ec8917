# Script run by CTest: install, build a client project against the install,
# run its PROGRAM (consumer.exe unless named) with RUN_ARGS ("|"-separated),
# and compare what it prints with EXPECT; with OUTPUT_FILE, that file must
# exist afterwards.
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
if(NOT PROGRAM)
  set(PROGRAM consumer.exe)
endif()
string(REPLACE "|" ";" run_args "${RUN_ARGS}")
run(${WINE_RUN} --prefix ${WINE_PREFIX} ${WORK_DIR}/build/${PROGRAM} ${run_args})
string(STRIP "${output}" output)
if(NOT output STREQUAL EXPECT)
  message(FATAL_ERROR "${PROGRAM} printed '${output}', expected '${EXPECT}'")
endif()
if(OUTPUT_FILE AND NOT EXISTS ${OUTPUT_FILE})
  message(FATAL_ERROR "${PROGRAM} did not write ${OUTPUT_FILE}")
endif()
message(STATUS "${PROGRAM} printed: ${output}")
