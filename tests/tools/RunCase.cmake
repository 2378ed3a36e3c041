# Runs one zvtool test case and compares its transcript with the expected one.
#
#   cmake -DTOOL=<zvtool> [-DEMULATOR=<qemu-i386>] -DCASE=<case file> -DEXPECTED=<file>
#         -DDATA=<dir|dir> -DWORK=<dir> [-DUPDATE=1] -P RunCase.cmake
#
# Every file of the DATA directories is copied into WORK, a scratch directory, and the tool runs
# there, so messages name files without directories. The case file holds one step per line
# (blank lines and lines starting with # are skipped; ';' and '[' cannot be used):
#
#   $ ARGS [< IN] [> OUT]  runs zvtool ARGS (quoted as in a shell), with standard input from IN
#                          and standard output into OUT instead of the transcript
#   $~ ARGS ...            the same, with every date-time text, MAC address, WUID and JSON time
#                          value replaced by a placeholder (for files the step itself stamps)
#   ? MEMBER...            reads the previous step's standard output as JSON and writes the value
#                          of the member path (string(JSON GET)); a document that does not parse
#                          fails the case
#   = A B                  whether files A and B are the same
#   unchanged FILE         whether FILE still holds what was copied in
#   size FILE              the size of FILE in bytes
#   mkdir DIR              makes a directory
#   copy A B               copies file A to B
#   link A B               makes B a symbolic link to A
#
# The transcript lists each command, its standard output, each line of its standard error
# prefixed with "stderr: ", and "[exit N]". TZ is UTC. With UPDATE (or the environment variable
# ZV_UPDATE_EXPECTED=1) the transcript is written to EXPECTED instead of compared with it.
cmake_minimum_required(VERSION 3.25)

set(ENV{TZ} UTC)
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
string(REPLACE "|" ";" data_dirs "${DATA}")
foreach(dir IN LISTS data_dirs)
    file(GLOB inputs "${dir}/*")
    foreach(input IN LISTS inputs)
        get_filename_component(name "${input}" NAME)
        file(COPY_FILE "${input}" "${WORK}/${name}")
        file(SHA256 "${WORK}/${name}" "original_${name}")
    endforeach()
endforeach()

set(transcript "")
set(last_stdout "")

# Lines of text with a prefix; a last line without a line end is marked.
function(zv_prefix_lines text prefix out)
    if(text STREQUAL "")
        set(${out} "" PARENT_SCOPE)
        return()
    endif()
    if(NOT text MATCHES "\n$")
        string(APPEND text "\n[no line end]\n")
    endif()
    string(REGEX REPLACE "([^\n]*)\n" "${prefix}\\1\n" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

function(zv_normalise text out)
    set(d "[0-9]")
    set(h "[0-9A-F]")
    string(REGEX REPLACE "${d}${d}${d}${d}/${d}${d}/${d}${d} ${d}${d}:${d}${d}:${d}${d}:${d}${d}${d}"
           "YYYY/MM/DD hh:mm:ss:mmm" text "${text}")
    string(REGEX REPLACE "${h}${h}-${h}${h}-${h}${h}-${h}${h}-${h}${h}-${h}${h}"
           "XX-XX-XX-XX-XX-XX" text "${text}")
    set(w "${h}${h}${h}${h}${h}${h}${h}${h}")
    string(REGEX REPLACE "${w}-${w}-${w}" "WWWWWWWW-WWWWWWWW-WWWWWWWW" text "${text}")
    string(REGEX REPLACE "\"time\": -?[0-9]+" "\"time\": N" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

function(zv_run_step line normalise)
    set(input "")
    set(output "")
    if(line MATCHES "^(.*) > ([^ ]+)$")
        set(line "${CMAKE_MATCH_1}")
        set(output "${CMAKE_MATCH_2}")
    endif()
    if(line MATCHES "^(.*) < ([^ ]+)$")
        set(line "${CMAKE_MATCH_1}")
        set(input "INPUT_FILE [==[${WORK}/${CMAKE_MATCH_2}]==]")
    endif()
    separate_arguments(args UNIX_COMMAND "${line}")
    # The command is spelled out with bracket arguments, so that an empty argument ("") reaches
    # the tool instead of vanishing from an expanded list.
    set(command "")
    foreach(word IN LISTS EMULATOR TOOL args)
        string(APPEND command " [==[${word}]==]")
    endforeach()
    cmake_language(EVAL CODE "execute_process(COMMAND ${command}
        WORKING_DIRECTORY [==[${WORK}]==] ${input}
        OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)")
    set(last_stdout "${out}" PARENT_SCOPE)
    if(normalise)
        zv_normalise("${out}" out)
        zv_normalise("${err}" err)
    endif()
    if(NOT output STREQUAL "")
        file(WRITE "${WORK}/${output}" "${out}")
        set(out "")
    endif()
    zv_prefix_lines("${out}" "" out)
    zv_prefix_lines("${err}" "stderr: " err)
    set(transcript "${transcript}${out}${err}[exit ${rc}]\n" PARENT_SCOPE)
endfunction()

file(STRINGS "${CASE}" steps)
foreach(step IN LISTS steps)
    if(step STREQUAL "" OR step MATCHES "^#")
        continue()
    endif()
    string(APPEND transcript "${step}\n")
    if(step STREQUAL "$")
        zv_run_step("" FALSE)
    elseif(step MATCHES "^\\$~ (.*)$")
        zv_run_step("${CMAKE_MATCH_1}" TRUE)
    elseif(step MATCHES "^\\$ (.*)$")
        zv_run_step("${CMAKE_MATCH_1}" FALSE)
    elseif(step MATCHES "^\\? (.*)$")
        separate_arguments(members UNIX_COMMAND "${CMAKE_MATCH_1}")
        string(JSON value ERROR_VARIABLE error GET "${last_stdout}" ${members})
        if(error)
            message(FATAL_ERROR "${CASE}: '${step}': ${error}")
        endif()
        string(APPEND transcript "${value}\n")
    elseif(step MATCHES "^= ([^ ]+) ([^ ]+)$")
        execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files
            "${WORK}/${CMAKE_MATCH_1}" "${WORK}/${CMAKE_MATCH_2}" RESULT_VARIABLE differ)
        if(differ)
            string(APPEND transcript "differ\n")
        else()
            string(APPEND transcript "same\n")
        endif()
    elseif(step MATCHES "^unchanged ([^ ]+)$")
        set(name "${CMAKE_MATCH_1}")
        file(SHA256 "${WORK}/${name}" now)
        if(now STREQUAL "${original_${name}}")
            string(APPEND transcript "yes\n")
        else()
            string(APPEND transcript "no\n")
        endif()
    elseif(step MATCHES "^size ([^ ]+)$")
        file(SIZE "${WORK}/${CMAKE_MATCH_1}" bytes)
        string(APPEND transcript "${bytes}\n")
    elseif(step MATCHES "^mkdir ([^ ]+)$")
        file(MAKE_DIRECTORY "${WORK}/${CMAKE_MATCH_1}")
    elseif(step MATCHES "^copy ([^ ]+) ([^ ]+)$")
        file(COPY_FILE "${WORK}/${CMAKE_MATCH_1}" "${WORK}/${CMAKE_MATCH_2}")
    elseif(step MATCHES "^link ([^ ]+) ([^ ]+)$")
        file(CREATE_LINK "${CMAKE_MATCH_1}" "${WORK}/${CMAKE_MATCH_2}" SYMBOLIC)
    else()
        message(FATAL_ERROR "${CASE}: cannot read the step '${step}'")
    endif()
endforeach()

if(UPDATE OR "$ENV{ZV_UPDATE_EXPECTED}")
    file(WRITE "${EXPECTED}" "${transcript}")
    message(STATUS "wrote ${EXPECTED}")
    return()
endif()
file(WRITE "${WORK}/transcript.out" "${transcript}")
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files "${EXPECTED}" "${WORK}/transcript.out"
    RESULT_VARIABLE differ)
if(differ)
    execute_process(COMMAND diff -u "${EXPECTED}" "${WORK}/transcript.out")
    message(FATAL_ERROR "${CASE}: the transcript differs from ${EXPECTED}")
endif()
