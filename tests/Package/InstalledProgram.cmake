# Installs the build in BUILD into a scratch prefix and runs the program from there, in an environment that knows no library path.
set(scratch ${BUILD}/tests/installed-program)
file(REMOVE_RECURSE ${scratch})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${scratch} RESULT_VARIABLE failed)
execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${scratch}/bin/tzmchain demo --quiet --samples 128
  --ascans 20 --lanes 1 --out ${scratch}/demo RESULT_VARIABLE failed_too)
if(failed OR failed_too OR NOT EXISTS ${scratch}/demo/image.vti)
  message(FATAL_ERROR "the installed program doesn't run")
endif()
file(GLOB_RECURSE licences ${scratch}/share/doc/*/copyright)
list(LENGTH licences count)
if(NOT count EQUAL 6)
  message(FATAL_ERROR "${count} copies of the licence in place of one for each package")
endif()
