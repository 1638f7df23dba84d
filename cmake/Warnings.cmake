# Warnings of the project's own targets; errors for its developers, so that none is committed.
function(tzm_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
    -Wno-unknown-pragmas)
  if(TZM_DEVELOPER_MODE)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
