# The kernels are compiled once per instruction set, and the table of the best one is chosen at run time.
# A level's flags belong to its own file alone: nothing else in the library may hold an instruction that an
# older processor doesn't know.
set(TZM_KERNEL_FLAGS -O3 -fno-math-errno -fno-trapping-math -fopenmp-simd -ffp-contract=fast -fno-stack-protector)
set(TZM_SIMD_FLAGS_Baseline "")
set(TZM_SIMD_FLAGS_Avx2 -mavx2 -mfma)
set(TZM_SIMD_FLAGS_Avx512 -mavx512f -mavx512dq -mavx512bw -mavx512vl -mavx2 -mfma -mprefer-vector-width=512)

function(tzm_simd_levels target)
  foreach(level IN ITEMS Baseline Avx2 Avx512)
    set_property(SOURCE Array/Simd/Kernels${level}.cpp Array/Simd/FftKernels${level}.cpp Array/Simd/AscanKernels${level}.cpp
      APPEND PROPERTY COMPILE_OPTIONS ${TZM_KERNEL_FLAGS} ${TZM_SIMD_FLAGS_${level}} -Wno-psabi)
  endforeach()
  # The unrolled transforms keep whole butterflies in local arrays. Watching those, and every single operation, takes the
  # compiler minutes per file; accesses to the heap stay watched.
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_FLAGS MATCHES "fsanitize=address")
    set_property(SOURCE Array/Simd/FftKernelsBaseline.cpp Array/Simd/FftKernelsAvx2.cpp Array/Simd/FftKernelsAvx512.cpp
      APPEND PROPERTY COMPILE_OPTIONS -fno-sanitize=undefined --param=asan-stack=0)
  endif()
endfunction()
