# Strict warnings for the project's own code.
function(zxv_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wshadow -Wcast-qual -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations>
    $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>)
endfunction()
