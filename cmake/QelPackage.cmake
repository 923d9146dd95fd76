# The Debian packages, one for each component of the installation: cpack --preset package.
set(runtime_package libqel${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}) # may stand beside another version's
set(packages
    "runtime=${runtime_package}=libs=the libraries"
    "spatial=${runtime_package}-spatial=libs=the rules about zones and lines"
    "development=libqel-dev=libdevel=headers and CMake files"
    "host=qel=video=the command-line program")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}")
set(CPACK_PACKAGE_CONTACT "the qel authors <authors@qel.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/lib")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# What packages of others depend on that use the libraries: this version or a later patch of it.
set(shlibs)
foreach(library IN ITEMS foundation observable)
    string(APPEND shlibs "libqel_${library} ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} ${runtime_package} (>= ${PROJECT_VERSION})\n")
endforeach()
file(WRITE "${PROJECT_BINARY_DIR}/shlibs" "${shlibs}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/shlibs")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libboost-dev, libboost-filesystem-dev") # what the headers include
set(CPACK_COMPONENT_SPATIAL_DEPENDS runtime)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_HOST_DEPENDS runtime spatial)
set(CPACK_COMPONENTS_ALL "")

foreach(package IN LISTS packages)
    string(REPLACE "=" ";" package "${package}")
    list(GET package 0 component)
    list(GET package 1 name)
    list(GET package 2 section)
    list(GET package 3 what)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    string(TOUPPER ${component} COMPONENT)
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section})
    set(CPACK_COMPONENT_${COMPONENT}_DESCRIPTION "${PROJECT_DESCRIPTION}: ${what}.")
    install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}" RENAME copyright COMPONENT ${component})
endforeach()

include(CPack)
