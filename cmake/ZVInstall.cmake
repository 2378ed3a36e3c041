# Install rules: the library, its headers, a CMake package and a pkg-config file. Each file
# belongs to a component, which is a Debian package of its own (cmake/ZVPackage.cmake): the
# shared library (runtime) and what a host program is built with (development).
include(CMakePackageConfigHelpers)

install(TARGETS zvsupport EXPORT zvsupportTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT runtime
        NAMELINK_COMPONENT development
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zvsupport
        COMPONENT development)
install(EXPORT zvsupportTargets
    NAMESPACE zvsupport::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zvsupport
    COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zvsupportConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/zvsupportConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zvsupport)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zvsupportConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zvsupportConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/zvsupportConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zvsupport
    COMPONENT development)
# The pkg-config file finds its prefix from where it is installed, so an install tree can move.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(ZV_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
    file(RELATIVE_PATH ZV_PC_UP "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" ZV_PC_UP "${ZV_PC_UP}")
    set(ZV_PC_PREFIX "\${pcfiledir}/${ZV_PC_UP}")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/zvsupport.pc.in
    ${CMAKE_CURRENT_BINARY_DIR}/zvsupport.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zvsupport.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
