# cmake -DQEL=<program> -DEXAMPLES=<folder> -DFOLDER=<folder> -DWORK=<folder> -P check_commands.cmake
#
# Runs commands.sh of FOLDER as somebody who types it, in the folder WORK, which is made anew and in which `examples` leads
# to EXAMPLES, and compares what the commands print with commands.output of FOLDER.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
file(CREATE_LINK ${EXAMPLES} ${WORK}/examples SYMBOLIC)
cmake_path(GET QEL PARENT_PATH programs)
execute_process(
    COMMAND ${CMAKE_COMMAND} -E env "PATH=${programs}:$ENV{PATH}" bash -euo pipefail ${FOLDER}/commands.sh
    WORKING_DIRECTORY ${WORK}
    OUTPUT_VARIABLE printed
    ERROR_VARIABLE messages
    RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "The commands ended with ${result}: ${printed}${messages}")
endif()
file(READ ${FOLDER}/commands.output expected)
if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "The commands do not print what stands in ${FOLDER}/commands.output:\n${printed}")
endif()
