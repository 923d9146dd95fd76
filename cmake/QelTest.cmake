# qel_add_test(<name> LABEL <folder> SOURCES <file>... [LIBRARIES <target>...])
#
# One executable, by rule one per test file, named <name> and known to ctest by its test cases as "<folder>/Suite.Case"
# under the label <folder>; the target qel_<folder>_tests builds those of a label. With a sanitizer the executable is one
# ctest entry instead, since starting a process then costs more than most cases; those whose sources start threads have
# the label threads there, and the target qel_threads_tests builds them.
include(GoogleTest)

add_custom_target(qel_threads_tests)

# How tests are compiled.
add_library(qel_test_options INTERFACE)
target_link_libraries(qel_test_options INTERFACE qel_options qel_test_support qel::observable)
# The libraries stay optimised; optimising the tests, too, takes up to three times as long as compiling them.
target_compile_options(qel_test_options INTERFACE $<$<CONFIG:Debug>:-O0>)
if(QEL_SANITIZE)
    target_compile_definitions(qel_test_options INTERFACE QEL_SANITIZED)

    # A third of the time that compiling a test takes goes into these headers. The builds without a sanitizer do not
    # precompile them, and so prove that each test includes what it uses.
    file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/headers.cpp" CONTENT "")
    add_library(qel_test_headers OBJECT "${CMAKE_CURRENT_BINARY_DIR}/headers.cpp")
    target_link_libraries(qel_test_headers PRIVATE qel_test_options)
    target_compile_options(qel_test_headers PRIVATE
        "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>") # for ccache
    target_precompile_headers(qel_test_headers PRIVATE
        <gmock/gmock.h>
        <gtest/gtest.h>
        "${PROJECT_SOURCE_DIR}/observable/notifier.hpp"
        "${PROJECT_SOURCE_DIR}/tests/support/frames.hpp")
endif()

function(qel_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "SOURCES;LIBRARIES")
    if(arg_UNPARSED_ARGUMENTS OR NOT arg_LABEL OR NOT arg_SOURCES)
        message(FATAL_ERROR "qel_add_test(${name}): give LABEL <folder> SOURCES <file>...")
    endif()

    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE qel_test_options GTest::gmock_main ${arg_LIBRARIES})
    if(QEL_SANITIZE)
        target_precompile_headers(${name} REUSE_FROM qel_test_headers)
    endif()

    if(NOT TARGET qel_${arg_LABEL}_tests)
        add_custom_target(qel_${arg_LABEL}_tests)
    endif()
    add_dependencies(qel_${arg_LABEL}_tests ${name})

    set(labels ${arg_LABEL})
    foreach(source IN LISTS arg_SOURCES)
        file(STRINGS ${source} threads REGEX "std::thread|RunTogether|OnAnotherThread|Workers|--jobs")
        if(threads)
            list(APPEND labels threads)
            add_dependencies(qel_threads_tests ${name})
        endif()
    endforeach()

    set(properties TIMEOUT 300)
    if(QEL_RECORDINGS)
        list(APPEND properties ENVIRONMENT "QEL_RECORDINGS=${QEL_RECORDINGS}")
    endif()
    if(QEL_SANITIZE)
        add_test(NAME ${arg_LABEL}/${name} COMMAND ${name})
        set_tests_properties(${arg_LABEL}/${name} PROPERTIES LABELS "${labels}" ${properties})
    else()
        gtest_discover_tests(${name}
            DISCOVERY_MODE PRE_TEST
            TEST_PREFIX "${arg_LABEL}/"
            PROPERTIES LABELS ${arg_LABEL} ${properties})
    endif()
endfunction()
