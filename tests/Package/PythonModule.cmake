# Imports the module tzm from the installed tree PREFIX, and from a wheel that pip makes of SOURCE with the build in BUILD. Both
# find their own libraries.
set(scratch ${BUILD}/tests/python-module)
file(REMOVE_RECURSE ${scratch})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(failed)
    message(FATAL_ERROR "failed: ${ARGN}\n${output}")
  endif()
endfunction()

# Imports from a folder, runs an algorithm, reads back what was written; libraries come from below a root.
function(import folder root)
  file(WRITE ${scratch}/use.py "
import os, tzm
assert tzm.__file__.startswith('${folder}'), tzm.__file__
tzm.demo(lanes=1, ascans=16).write('${scratch}/line.f32')
image = tzm.run('${scratch}/line.f32', ['OffsetRemoval'])
loaded = [line.split()[-1] for line in open('/proc/self/maps') if 'libtzm' in line]
assert loaded and all(os.path.realpath(name).startswith(os.path.realpath('${root}')) for name in loaded), loaded
")
  run(${CMAKE_COMMAND} -E env PYTHONPATH=${folder} ${PYTHON} ${scratch}/use.py)
endfunction()

import(${PREFIX}/lib/python3/dist-packages ${PREFIX})

foreach(file pyproject.toml setup.py README.md LICENSE CMakeLists.txt python/tzm) # pip writes where it builds
  get_filename_component(folder ${file} DIRECTORY)
  file(COPY ${SOURCE}/${file} DESTINATION ${scratch}/source/${folder})
endforeach()
run(${CMAKE_COMMAND} -E env TZM_BUILD_DIR=${BUILD} ${PYTHON} -m pip install --quiet --disable-pip-version-check --no-build-isolation --no-deps
  --no-index --target ${scratch}/site ${scratch}/source)
import(${scratch}/site ${scratch}/site)
