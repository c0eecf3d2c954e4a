# Installs the built library into a scratch prefix, then configures, builds
# and runs a separate project that uses find_package(ZetDIP CONFIG REQUIRED).
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
if(NOT BUILD_TYPE)
  set(BUILD_TYPE Release)
endif()
macro(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}")
  endif()
endmacro()
run(${CMAKE_COMMAND} --install ${ZETDIP_BUILD_DIR} --prefix ${prefix} --config ${BUILD_TYPE})
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DCMAKE_PREFIX_PATH=${prefix}
    "-DCMAKE_CXX_FLAGS=${CONSUMER_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)
