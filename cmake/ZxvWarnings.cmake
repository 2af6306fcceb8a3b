# Strict warnings for the project's own code. The gcc builds (normal and
# ASan+UBSan) make them errors; the clang TSan and fuzz builds of run.sh
# pass -DZXV_WERROR=OFF so that a warning only clang knows is reported there
# without stopping the stage: the gcc builds are the gate for warnings.
option(ZXV_WERROR "Treat warnings as errors" ON)
function(zxv_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wshadow -Wcast-qual
    $<$<BOOL:${ZXV_WERROR}>:-Werror>
    $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations>
    $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>)
endfunction()
