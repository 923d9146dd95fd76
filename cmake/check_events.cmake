# cmake -DQEL=<program> -DFOLDER=<example> [-DSOURCE=<command that writes frames>] [-DINPUT=<file with frames>]
#       -P check_events.cmake
#
# Runs the rules of an example over its frames and compares the events, byte for byte, with those on file: events.jsonl,
# and where it is there events.txt, the table of the same.
if(SOURCE)
    set(source COMMAND ${SOURCE})
    set(input --input - --format jsonl)
else()
    set(source)
    set(input --input ${INPUT})
endif()
function(check_events file format)
    execute_process(
        ${source}
        COMMAND ${QEL} run --rules ${FOLDER}/rules.json ${input} --output-format ${format}
        OUTPUT_VARIABLE events
        ERROR_VARIABLE messages
        RESULTS_VARIABLE results)
    if(NOT results MATCHES "^0(;0)?$")
        message(FATAL_ERROR "The frames, and qel run, ended with ${results}: ${messages}")
    endif()
    file(READ ${file} expected)
    if(NOT events STREQUAL expected)
        message(FATAL_ERROR "The events are not those of ${file}:\n${events}")
    endif()
endfunction()

check_events(${FOLDER}/events.jsonl jsonl)
if(EXISTS ${FOLDER}/events.txt)
    check_events(${FOLDER}/events.txt table)
endif()
