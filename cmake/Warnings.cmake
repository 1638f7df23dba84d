# Warnings of the project's own targets; errors for its developers, so that none is committed.
function(tzm_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wno-sign-conversion
    -Wno-unknown-pragmas)
  # A constructor's argument may bear the name of the field that it goes to.
  target_compile_options(${target} PRIVATE $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>)
  # g++ 12 sees overlaps in std::string's own code as C++20 has it inline (GCC bug 105651).
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
  # A loop that clang leaves scalar is no mistake.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wno-pass-failed>)
  if(TZM_DEVELOPER_MODE)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
