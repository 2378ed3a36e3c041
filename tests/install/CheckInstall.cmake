# Installs the build tree into a fresh prefix, builds the consumer project against it with
# find_package and with pkg-config, and runs both programs.
file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK}/prefix
    RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "install failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G ${GENERATOR}
        -DCMAKE_PREFIX_PATH=${WORK}/prefix
        "-DCMAKE_CXX_COMPILER=${CXX}"
    RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer configure failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "consumer build failed")
endif()
foreach(program consumer_cmake consumer_pkgconfig)
    execute_process(COMMAND ${WORK}/build/${program}
        OUTPUT_VARIABLE out OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE rc)
    if(NOT rc EQUAL 0 OR NOT out STREQUAL "Invalid mac address formaT.")
        message(FATAL_ERROR "${program}: exit ${rc}, printed '${out}'")
    endif()
endforeach()
message(STATUS "find_package and pkg-config consumers built and ran")
# The tool, installed beside the library in a prefix of its own, finds it there by itself.
if(TOOL)
    if(NOT EXISTS ${WORK}/prefix/${MANDIR}/man1/zvtool.1.gz)
        message(FATAL_ERROR "no manual page ${MANDIR}/man1/zvtool.1.gz")
    endif()
    execute_process(COMMAND ${WORK}/prefix/${BINDIR}/zvtool errmsg 15
        OUTPUT_VARIABLE out OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE rc)
    if(NOT rc EQUAL 0 OR NOT out STREQUAL "Memory overflow.")
        message(FATAL_ERROR "installed zvtool: exit ${rc}, printed '${out}'")
    endif()
    message(STATUS "installed zvtool ran")
endif()
