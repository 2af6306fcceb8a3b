# cmake -DNM=nm -DLIBRARY=libzxvxzu.so -DEXPECTED=exported_names.txt -P this
# Fails unless `nm -D --defined-only LIBRARY` lists exactly the names in
# EXPECTED (one per line; blank lines and lines starting with '#' ignored),
# and reports the names exported but not listed and listed but not exported.
foreach(var NM LIBRARY EXPECTED)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "check_exported_names: ${var} not given")
  endif()
endforeach()

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE nm_out ERROR_VARIABLE nm_err RESULT_VARIABLE nm_rc)
if(NOT nm_rc EQUAL 0)
  message(FATAL_ERROR "${NM} -D --defined-only ${LIBRARY} failed (${nm_rc}): ${nm_err}")
endif()

# "<address> <type> <name>" per line.
set(exported)
string(REPLACE "\n" ";" nm_lines "${nm_out}")
foreach(line IN LISTS nm_lines)
  if(line MATCHES "^[0-9a-fA-F]* *[A-Za-z] +([^ ]+)$")
    list(APPEND exported "${CMAKE_MATCH_1}")
  endif()
endforeach()

set(listed)
file(STRINGS ${EXPECTED} expected_lines)
foreach(line IN LISTS expected_lines)
  string(STRIP "${line}" line)
  if(line STREQUAL "" OR line MATCHES "^#")
    continue()
  endif()
  list(APPEND listed "${line}")
endforeach()

set(extra ${exported})
if(listed)
  list(REMOVE_ITEM extra ${listed})
endif()
set(missing ${listed})
if(exported)
  list(REMOVE_ITEM missing ${exported})
endif()
list(LENGTH exported n_exported)
list(LENGTH listed n_listed)

if(extra OR missing)
  list(JOIN extra "\n  " extra_text)
  list(JOIN missing "\n  " missing_text)
  message(FATAL_ERROR
    "libzxvxzu exports ${n_exported} names, exported_names.txt lists ${n_listed}.\n"
    "Exported but not listed:\n  ${extra_text}\n"
    "Listed but not exported:\n  ${missing_text}\n")
endif()
message(STATUS "libzxvxzu exports exactly the ${n_listed} listed names")
