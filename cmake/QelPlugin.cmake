# qel_add_plugin(<name> [NO_INSTALL] SOURCES <file>...)
#
# Builds the plug-in library libqel_observable_<name>.so, whose observable types register themselves when the library is
# loaded. In the project's own tree it is built and installed beside libqel_observable.so, where the loader finds it;
# another project installs it into its own library folder. Use it after find_package(qel). NO_INSTALL is for plug-ins that
# only the build itself loads.
function(qel_add_plugin name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "NO_INSTALL" "" "SOURCES")
    if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
        message(FATAL_ERROR "qel_add_plugin(${name}): give SOURCES <file>...")
    endif()
    include(GNUInstallDirs)

    set(target qel_observable_${name})
    add_library(${target} MODULE ${arg_SOURCES})
    target_link_libraries(${target} PRIVATE qel::observable)
    # A unique symbol, which GCC makes of an inline variable or a static local, would keep the library in memory after
    # it was unloaded, and its types in the registry.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    set_target_properties(${target} PROPERTIES
        PREFIX lib
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        INSTALL_RPATH "$ORIGIN")
    if(TARGET qel_options)
        target_link_libraries(${target} PRIVATE qel_options)
    endif()
    if(NOT arg_NO_INSTALL)
        install(TARGETS ${target} LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${name})
    endif()
endfunction()
