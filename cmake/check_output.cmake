# cmake -DPROGRAM=<program> -DEXPECTED=<file> -P check_output.cmake
# Fails when the program fails, or prints anything else than the file's contents.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${PROGRAM}" OUTPUT_VARIABLE printed ERROR_VARIABLE complaint RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} ended with ${result}\n${complaint}")
endif()
file(READ "${EXPECTED}" expected)
if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "Expected (${EXPECTED}):\n${expected}\nPrinted:\n${printed}")
endif()
