# How this project compiles itself: the qel_options target, the output folders and the qel_add_* functions of the tree.
# Nothing here reaches a user of the installed package or of add_subdirectory().

find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS filesystem)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)

if(PROJECT_IS_TOP_LEVEL)
    find_program(QEL_CCACHE ccache)
    mark_as_advanced(QEL_CCACHE)
    if(QEL_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
        set(CMAKE_CXX_COMPILER_LAUNCHER "${QEL_CCACHE}")
    endif()
endif()

# Plug-ins are looked for beside libqel_observable.so, so all libraries share one folder.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON) # a build folder may be moved

set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_CXX_EXTENSIONS OFF)

add_library(qel_options INTERFACE)
target_compile_features(qel_options INTERFACE cxx_std_20)
target_compile_options(qel_options INTERFACE
    -Wall -Wextra -Wpedantic -Wnon-virtual-dtor
    $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local> # a constructor's arguments may be named like the fields they fill
    $<$<BOOL:${QEL_WARNINGS_AS_ERRORS}>:-Werror>)
if(QEL_SANITIZE)
    target_compile_options(qel_options INTERFACE
        -fsanitize=${QEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(qel_options INTERFACE -fsanitize=${QEL_SANITIZE})
endif()
if(QEL_COVERAGE)
    target_compile_options(qel_options INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(qel_options INTERFACE -fprofile-instr-generate)
endif()

# qel_add_library(<name>): the shared library libqel_<name>.so, known as qel::<name>. Its folder lists the sources.
function(qel_add_library name)
    set(target qel_${name})
    add_library(${target} SHARED)
    add_library(qel::${name} ALIAS ${target})
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_link_libraries(${target} PRIVATE qel_options)
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${name}
        VERSION ${PROJECT_VERSION}
        # Before 1.0 a new minor version may change the binary interface.
        SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
        INSTALL_RPATH "$ORIGIN")
    target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}")
endfunction()
