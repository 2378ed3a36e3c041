# Compares the names the library exports (nm -D --defined-only) with the checked-in list.
# Symbols that the linker itself defines in every shared object are left out, and so are the
# markers AddressSanitizer adds beside every exported variable.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
    OUTPUT_VARIABLE nm_out RESULT_VARIABLE nm_rc)
if(NOT nm_rc EQUAL 0)
    message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${nm_out}")
set(actual)
foreach(line IN LISTS lines)
    if(line MATCHES "^[0-9a-fA-F]* *[A-Za-z] ([^ ]+)$")
        set(sym ${CMAKE_MATCH_1})
        if(NOT sym MATCHES "^(_init|_fini|_edata|_end|__bss_start)$" AND
           NOT sym MATCHES "^__odr_asan\\.")
            list(APPEND actual ${sym})
        endif()
    endif()
endforeach()
list(SORT actual)
list(REMOVE_DUPLICATES actual)

file(STRINGS ${EXPECTED} expected_lines)
set(expected)
foreach(line IN LISTS expected_lines)
    string(STRIP "${line}" line)
    if(line AND NOT line MATCHES "^#")
        list(APPEND expected ${line})
    endif()
endforeach()
list(SORT expected)

set(missing ${expected})
list(REMOVE_ITEM missing ${actual})
set(extra ${actual})
list(REMOVE_ITEM extra ${expected})
if(missing OR extra)
    string(REPLACE ";" "\n  " missing_text "${missing}")
    string(REPLACE ";" "\n  " extra_text "${extra}")
    message(FATAL_ERROR "exported symbols differ from ${EXPECTED}\n"
        "missing:\n  ${missing_text}\nnot listed:\n  ${extra_text}")
endif()
list(LENGTH actual count)
message(STATUS "${count} exported symbols, as listed")
