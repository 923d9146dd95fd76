# Installation: libraries and headers, the CMake package with its components, the pkg-config files. Every path in an
# installed file is relative to that file, so an installed tree may be moved.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qel")
set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

foreach(component IN ITEMS foundation observable)
    install(TARGETS qel_${component}
        EXPORT qel-${component}
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
        FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qel" COMPONENT development)
    install(EXPORT qel-${component}
        FILE qel-${component}-targets.cmake
        NAMESPACE qel::
        DESTINATION "${package_dir}" COMPONENT development)
endforeach()

configure_package_config_file(cmake/qel-config.cmake.in "${PROJECT_BINARY_DIR}/qel-config.cmake"
    INSTALL_DESTINATION "${package_dir}"
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/qel-config-version.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/qel-config.cmake"
    "${PROJECT_BINARY_DIR}/qel-config-version.cmake"
    cmake/QelPlugin.cmake
    DESTINATION "${package_dir}" COMPONENT development)

file(RELATIVE_PATH pkgconfig_to_prefix "${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir}" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
foreach(component IN ITEMS foundation observable)
    configure_file(cmake/qel-${component}.pc.in "${PROJECT_BINARY_DIR}/qel-${component}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/qel-${component}.pc"
        DESTINATION "${pkgconfig_dir}" COMPONENT development)
endforeach()
