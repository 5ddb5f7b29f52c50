# Compares the dynamic symbols libkclkrt.so defines with the checked-in list.
find_program(NM nm REQUIRED)
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE listing RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${listing}")
set(actual "")
foreach(line IN LISTS lines)
  # Code and data symbols only. The linker's own markers and the standard library's
  # template instances (vague linkage, default visibility by its headers) are not part
  # of the interface.
  if(line MATCHES "^[0-9a-f]+ [TDBRVW] ([^ ]+)$")
    set(name ${CMAKE_MATCH_1})
    if(NOT name MATCHES "^(_init|_fini|_edata|_end|__bss_start)$" AND NOT name MATCHES "^__(asan|ubsan|sanitizer|lsan)"
       AND NOT name MATCHES "^_Z(T[ISV]|GV)?N?K?St")
      list(APPEND actual ${name})
    endif()
  endif()
endforeach()
list(SORT actual)
file(STRINGS ${EXPECTED} expected)
list(SORT expected)
if(NOT actual STREQUAL expected)
  set(extra ${actual})
  list(REMOVE_ITEM extra ${expected})
  set(missing ${expected})
  list(REMOVE_ITEM missing ${actual})
  message(FATAL_ERROR "exported symbols differ from ${EXPECTED}\n  unexpected: ${extra}\n  missing: ${missing}")
endif()
list(LENGTH actual count)
message(STATUS "${count} exported symbols as listed")
