# Debian packages made from the install rules: `cpack -G DEB` in a build tree gives
#   libzvsupport1     the shared library (component runtime)
#   libzvsupport-dev  headers, the unversioned link, the CMake package and the pkg-config file
#                     (component development)
#   zvtool            the command-line tool and its manual page (component tool)
# Each description's first line is the package's synopsis. Dependencies on system libraries come
# from dpkg-shlibdeps; the development files and the tool depend on the exact
# version of libzvsupport1 they were built with.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zvsupport)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "zvsupport")
# Left empty so that each package's own first line, not the project's, is its synopsis.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "zvsupport maintainers <zvsupport@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(ZV_BUILD_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL tool)
endif()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tool's own library is not installed on the building machine: dpkg-shlibdeps finds it in
# the build tree, and the dependency on it is written out below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://localhost/zvsupport")
set(zv_exact_runtime "libzvsupport1 (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzvsupport1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# A shlibs file (and the ldconfig trigger) so that programs built against the library depend
# on this package.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "Support library for the device's host programs\n\
Environment files (hierarchical typed settings in a text and a binary form), an error history\n\
in a memory-mapped file, the common file header line and general utilities.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzvsupport-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${zv_exact_runtime}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "Support library for the device's host programs (development files)\n\
Headers, the CMake package (find_package(zvsupport)) and the pkg-config file.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zvtool)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${zv_exact_runtime}")
set(CPACK_DEBIAN_TOOL_DESCRIPTION
    "Reads and changes the device's environment files, file headers and error histories\n\
zvtool shows, gets, sets, converts, exports to JSON and imports environment files, checks and\n\
stamps file headers, and creates and lists error histories.")

# The device build (-m32 on an x86-64 machine) makes i386 packages. dpkg-shlibdeps would take
# the machine's 32-bit compatibility libraries for their dependencies, so they are written out.
if(CMAKE_CROSSCOMPILING AND CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
    set(zv_system_depends "libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${zv_system_depends}")
    set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${zv_exact_runtime}, ${zv_system_depends}")
endif()

include(CPack)
