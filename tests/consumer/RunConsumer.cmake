# Builds and runs tests/consumer against orvcore, either as a subdirectory of
# the consumer or as an installed package. Run with cmake -P.
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}")
  endif()
endfunction()

set(configure_args -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build" -G Ninja
  -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")

if(MODE STREQUAL "subdirectory")
  run(${CMAKE_COMMAND} ${configure_args} -DORVCORE_CONSUME=subdirectory
      "-DORVCORE_SOURCE_DIR=${ORVCORE_SOURCE_DIR}")
  # The library must not drag its tests, benchmarks or programs into the parent.
  if(EXISTS "${WORK_DIR}/build/orvcore-build/tests" OR EXISTS "${WORK_DIR}/build/orvcore-build/bench")
    message(FATAL_ERROR "tests or benchmarks were configured inside a parent project")
  endif()
else()
  run(${CMAKE_COMMAND} --install "${ORVCORE_BINARY_DIR}" --prefix "${WORK_DIR}/prefix")
  run(${CMAKE_COMMAND} ${configure_args} -DORVCORE_CONSUME=package "-DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix")
endif()

run(${CMAKE_COMMAND} --build "${WORK_DIR}/build" -j 2)
run("${WORK_DIR}/build/consumer")
