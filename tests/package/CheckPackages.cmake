# Builds the Debian packages of a build tree with cpack, then checks each package's control
# fields and file list, unpacks them with dpkg-deb -x into a scratch root and runs the tool from
# there against the unpacked library.
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err
        OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "${ARGN}: exit ${rc}\n${out}\n${err}")
    endif()
    set(out "${out}" PARENT_SCOPE)
endfunction()

function(expect what actual expected)
    if(NOT actual STREQUAL expected)
        message(FATAL_ERROR "${what}:\n  got      '${actual}'\n  expected '${expected}'")
    endif()
endfunction()

function(expect_match what actual pattern)
    if(NOT actual MATCHES "${pattern}")
        message(FATAL_ERROR "${what}: '${actual}' does not match '${pattern}'")
    endif()
endfunction()

run(${CMAKE_COMMAND} -E chdir ${BUILD_DIR} cpack -G DEB -C ${CONFIG} -B ${WORK}/out)

set(lib usr/${LIBDIR})
set(runtime_files
    "${lib}/libzvsupport.so.${VERSION}"
    "${lib}/libzvsupport.so.1 -> libzvsupport.so.${VERSION}")
set(development_files
    "${lib}/cmake/zvsupport/zvsupportConfig.cmake"
    "${lib}/cmake/zvsupport/zvsupportConfigVersion.cmake"
    "${lib}/cmake/zvsupport/zvsupportTargets.cmake"
    "${lib}/libzvsupport.so -> libzvsupport.so.1"
    "${lib}/pkgconfig/zvsupport.pc")
string(TOLOWER "${CONFIG}" config)
list(APPEND development_files "${lib}/cmake/zvsupport/zvsupportTargets-${config}.cmake")
foreach(header IN LISTS HEADERS)
    list(APPEND development_files "usr/${INCLUDEDIR}/zvsupport/${header}")
endforeach()
set(tool_files "usr/${BINDIR}/zvtool" "usr/${MANDIR}/man1/zvtool.1.gz")

# package|component|section|synopsis
set(packages
    "libzvsupport1|runtime|libs|Support library for the device's host programs"
    "libzvsupport-dev|development|libdevel|Support library for the device's host programs (development files)"
    "zvtool|tool|utils|Reads and changes the device's environment files, file headers and error histories")
foreach(entry IN LISTS packages)
    string(REPLACE "|" ";" fields "${entry}")
    list(GET fields 0 package)
    list(GET fields 1 component)
    list(GET fields 2 section)
    list(GET fields 3 synopsis)
    set(deb ${WORK}/out/${package}_${VERSION}_${ARCH}.deb)
    if(NOT EXISTS ${deb})
        message(FATAL_ERROR "no package ${deb}")
    endif()

    foreach(field Package Version Architecture Section Priority)
        run(dpkg-deb -f ${deb} ${field})
        set(${field} "${out}")
    endforeach()
    expect("${package}: Package" "${Package}" "${package}")
    expect("${package}: Version" "${Version}" "${VERSION}")
    expect("${package}: Architecture" "${Architecture}" "${ARCH}")
    expect("${package}: Section" "${Section}" "${section}")
    expect("${package}: Priority" "${Priority}" "optional")
    run(dpkg-deb -f ${deb} Maintainer)
    expect_match("${package}: Maintainer" "${out}" "^[^<]+ <[^>]+>$")
    run(dpkg-deb -f ${deb} Description)
    string(REGEX REPLACE "\n.*" "" first "${out}")
    expect("${package}: synopsis" "${first}" "${synopsis}")
    run(dpkg-deb -f ${deb} Depends)
    set(depends "${out}")

    # The files, as "path" or "path -> target" for a link, without the folders.
    run(dpkg-deb -c ${deb})
    string(REPLACE "\n" ";" rows "${out}")
    set(files "")
    foreach(row IN LISTS rows)
        if(row MATCHES "^d")
            continue()
        endif()
        string(REGEX REPLACE "^[^ ]+ +[^ ]+ +[^ ]+ +[^ ]+ +[^ ]+ +\\./" "" path "${row}")
        list(APPEND files "${path}")
    endforeach()
    list(SORT files)
    set(expected_files ${${component}_files})
    list(SORT expected_files)
    expect("${package}: files" "${files}" "${expected_files}")

    run(dpkg-deb -x ${deb} ${WORK}/root)
    set(${component}_deb ${deb})
    set(${component}_depends "${depends}")
endforeach()

# The library's package depends on the C and C++ runtimes and says how to depend on it.
expect_match("libzvsupport1: Depends" "${runtime_depends}" "libc6 \\(>= [0-9.]+\\)")
expect_match("libzvsupport1: Depends" "${runtime_depends}" "libstdc\\+\\+6 \\(>= [0-9.]+\\)")
run(${CMAKE_COMMAND} -E make_directory ${WORK}/control)
run(dpkg-deb -e ${runtime_deb} ${WORK}/control)
file(READ ${WORK}/control/shlibs shlibs)
expect("libzvsupport1: shlibs" "${shlibs}" "libzvsupport 1 libzvsupport1 (>= ${VERSION})\n")
if(NOT EXISTS ${WORK}/control/postinst AND NOT EXISTS ${WORK}/control/triggers)
    message(FATAL_ERROR "libzvsupport1: nothing runs ldconfig")
endif()
# The development files and the tool need this very version of the library.
expect("libzvsupport-dev: Depends" "${development_depends}" "libzvsupport1 (= ${VERSION})")
expect_match("zvtool: Depends" "${tool_depends}" "^libzvsupport1 \\(= ${VERSION}\\), .*libc6 \\(>= ")

# The unpacked tool runs on the unpacked library.
set(ENV{LD_LIBRARY_PATH} ${WORK}/root/${lib})
run(${WORK}/root/usr/${BINDIR}/zvtool errmsg 15)
expect("unpacked zvtool errmsg 15" "${out}" "Memory overflow.")
run(readelf -d ${WORK}/root/usr/${BINDIR}/zvtool)
expect_match("unpacked zvtool" "${out}" "NEEDED[^\n]*libzvsupport\\.so\\.1")
# Their dependencies are met on this machine: dpkg goes through the install without making it
# (it needs the package database's lock, so only as root, as CI runs).
execute_process(COMMAND id -u OUTPUT_VARIABLE uid OUTPUT_STRIP_TRAILING_WHITESPACE)
if(uid STREQUAL "0")
    run(dpkg --dry-run -i ${runtime_deb} ${development_deb} ${tool_deb})
endif()
message(STATUS "packages checked: libzvsupport1, libzvsupport-dev, zvtool")
