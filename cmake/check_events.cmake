# cmake -DQEL=<program> -DSOURCE=<command that writes frames> -DFOLDER=<example> -P check_events.cmake
#
# Runs the rules of an example over its frames and compares the events, byte for byte, with those on file.
execute_process(
    COMMAND ${SOURCE}
    COMMAND ${QEL} run --rules ${FOLDER}/rules.json --input - --format jsonl --output-format jsonl
    OUTPUT_VARIABLE events
    ERROR_VARIABLE messages
    RESULTS_VARIABLE results)
if(NOT results STREQUAL "0;0")
    message(FATAL_ERROR "The frames, and qel run, ended with ${results}: ${messages}")
endif()
file(READ ${FOLDER}/events.jsonl expected)
if(NOT events STREQUAL expected)
    message(FATAL_ERROR "The events are not those of ${FOLDER}/events.jsonl:\n${events}")
endif()
