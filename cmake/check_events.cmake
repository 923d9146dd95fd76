# cmake -DQEL=<program> -DFOLDER=<example> [-DSOURCE=<command that writes frames>] [-DINPUT=<file with frames>]
#       -P check_events.cmake
#
# Runs the rules of an example over its frames and compares the events, byte for byte, with those on file.
if(SOURCE)
    set(source COMMAND ${SOURCE})
    set(input --input - --format jsonl)
else()
    set(source)
    set(input --input ${INPUT})
endif()
execute_process(
    ${source}
    COMMAND ${QEL} run --rules ${FOLDER}/rules.json ${input} --output-format jsonl
    OUTPUT_VARIABLE events
    ERROR_VARIABLE messages
    RESULTS_VARIABLE results)
if(NOT results MATCHES "^0(;0)?$")
    message(FATAL_ERROR "The frames, and qel run, ended with ${results}: ${messages}")
endif()
file(READ ${FOLDER}/events.jsonl expected)
if(NOT events STREQUAL expected)
    message(FATAL_ERROR "The events are not those of ${FOLDER}/events.jsonl:\n${events}")
endif()
