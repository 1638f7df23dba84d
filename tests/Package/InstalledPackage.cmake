# Installs the build in BUILD into a scratch prefix, then configures, builds and runs the example in EXAMPLE against it, as a
# host's developer would.
set(scratch ${BUILD}/tests/installed-package/${PROGRAM})
file(REMOVE_RECURSE ${scratch})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "failed: ${ARGN}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${scratch}/prefix)
run(${CMAKE_COMMAND} -S ${EXAMPLE} -B ${scratch}/build -DCMAKE_PREFIX_PATH=${scratch}/prefix -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_CXX_FLAGS=-Wall\ -Wextra\ -Werror)
run(${CMAKE_COMMAND} --build ${scratch}/build)
run(${CMAKE_COMMAND} -E chdir ${scratch} ./build/${PROGRAM})
execute_process(COMMAND ${READELF} -d ${scratch}/build/${PROGRAM} OUTPUT_VARIABLE dynamic)
if(NOT dynamic MATCHES "NEEDED[^\n]*libvtkTZMProcessChainImaging")
  message(FATAL_ERROR "${PROGRAM} doesn't load the library that it names:\n${dynamic}")
endif()
