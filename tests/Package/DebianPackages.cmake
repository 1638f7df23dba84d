# Makes the Debian packages of the build in BUILD, unpacks them into a scratch root, builds the examples against that through
# CMake and through pkg-config, and runs them and the host program.
set(scratch ${BUILD}/tests/debian-packages)
file(REMOVE_RECURSE ${scratch})
file(MAKE_DIRECTORY ${scratch}/tree)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE output)
  if(failed)
    message(FATAL_ERROR "failed: ${ARGN}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run(${CPACK} --config ${BUILD}/CPackConfig.cmake -G DEB -B ${scratch}/packages)
file(GLOB packages ${scratch}/packages/*.deb)
list(LENGTH packages count)
if(NOT count EQUAL PACKAGES)
  message(FATAL_ERROR "${count} packages: ${packages}")
endif()
foreach(package ${packages})
  run(dpkg-deb -x ${package} ${scratch}/tree)
  run(dpkg-deb -f ${package} Depends)
  if(package MATCHES "/libvtk[a-z]+[0-9.]+_" AND NOT output MATCHES "libvtk9.1.*" OR
     package MATCHES "/libvtk.*-dev_" AND NOT output MATCHES "libvtk9-dev" OR package MATCHES "/libtzmcore" AND output MATCHES "vtk" OR
     package MATCHES "/libtzmcore[0-9]" AND output MATCHES "hdf5|segyio|proj")
    message(FATAL_ERROR "${package} depends on ${output}")
  endif()
endforeach()

set(root ${scratch}/tree/usr)
file(GLOB pkgconfig ${root}/lib/pkgconfig ${root}/lib/*/pkgconfig)
file(GLOB library ${root}/lib/libvtkTZMProcess*.so ${root}/lib/*/libvtkTZMProcess*.so)
get_filename_component(libraries ${library} DIRECTORY)
set(environment ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libraries} PKG_CONFIG_PATH=${pkgconfig})

run(${environment} ${root}/bin/tzmchain --version)
if(PYTHON)
  run(${environment} PYTHONPATH=${root}/lib/python3/dist-packages ${PYTHON} -c "import tzm; tzm.OffsetRemoval()([[1.0, 2.0]])")
endif()
foreach(example CoreOnly OffsetRemoval HostFilter)
  string(REGEX REPLACE "([a-z])([A-Z])" "\\1_\\2" program ${example})
  string(TOLOWER ${program} program)
  run(${CMAKE_COMMAND} -S ${SOURCE}/examples/${example} -B ${scratch}/${example} -DCMAKE_PREFIX_PATH=${root}
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_FLAGS=-Wall\ -Wextra\ -Werror)
  run(${CMAKE_COMMAND} --build ${scratch}/${example})
  run(${CMAKE_COMMAND} -E chdir ${scratch} ${environment} ./${example}/${program})
endforeach()

run(${environment} pkg-config --cflags --libs vtkTZMProcessChainImaging)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${COMPILER} -std=c++17 ${SOURCE}/examples/OffsetRemoval/main.cpp -o ${scratch}/through-pkg-config ${flags})
run(${environment} ${scratch}/through-pkg-config)
