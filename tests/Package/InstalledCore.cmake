# Installs the core of the build in BUILD alone into a scratch prefix and builds and runs the example in EXAMPLE against it, with
# VTK hidden.
set(scratch ${BUILD}/tests/installed-core)
file(REMOVE_RECURSE ${scratch})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "failed: ${ARGN}")
  endif()
endfunction()

foreach(component Core Formats CoreDevelopment)
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${scratch}/prefix --component ${component})
endforeach()
run(${CMAKE_COMMAND} -S ${EXAMPLE} -B ${scratch}/build -DCMAKE_PREFIX_PATH=${scratch}/prefix -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_DISABLE_FIND_PACKAGE_VTK=ON -DCMAKE_CXX_FLAGS=-Wall\ -Wextra\ -Werror)
run(${CMAKE_COMMAND} --build ${scratch}/build)
run(${CMAKE_COMMAND} -E chdir ${scratch} ./build/core_only)
file(WRITE ${scratch}/chain.json "{\"chain\": [{\"algorithm\": \"OffsetRemoval\"}]}")
run(${CMAKE_COMMAND} -E chdir ${scratch} ./build/core_only image.f32 chain.json again.f32)
file(SIZE ${scratch}/again.f32 size)
math(EXPR expected "118 * 64 * 5 * 4")
if(NOT size EQUAL expected)
  message(FATAL_ERROR "the image has ${size} bytes in place of ${expected}")
endif()
