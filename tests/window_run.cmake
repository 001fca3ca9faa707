# The veloran window run as a user would: replay with recording, screenshots, signals, bad
# command lines. Needs QT_QPA_PLATFORM=offscreen.
if(NOT DEFINED APP OR NOT DEFINED DATA OR NOT DEFINED WORK)
    message(FATAL_ERROR "window_run.cmake: APP, DATA and WORK must be set")
endif()
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
set(common --config-dir "${WORK}/config" --data-dir "${WORK}/data")

# All rates 1 and log-others on: the recording is the replayed log, byte for byte.
# (faults.nmea is left out: its NUL bytes end their lines as received, by design.)
foreach(log demo multi_gnss)
    execute_process(COMMAND "${APP}" --replay "${DATA}/${log}.nmea" --replay-delay 0
                            --record "${WORK}/${log}.out" --quit-after-replay ${common}
                    RESULT_VARIABLE status TIMEOUT 60)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "replay of ${log}.nmea ended with ${status}")
    endif()
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files "${DATA}/${log}.nmea"
                            "${WORK}/${log}.out" RESULT_VARIABLE differ)
    if(differ)
        message(FATAL_ERROR "the recording of ${log}.nmea differs from it")
    endif()
endforeach()

# Screenshots of the pages after the demo.
foreach(page list data)
    execute_process(COMMAND "${APP}" --demo --replay-delay 0 --page ${page}
                            --screenshot "${WORK}/${page}.png" ${common}
                    RESULT_VARIABLE status TIMEOUT 60)
    file(READ "${WORK}/${page}.png" head LIMIT 8 HEX)
    if(NOT status EQUAL 0 OR NOT head STREQUAL "89504e470d0a1a0a")
        message(FATAL_ERROR "no PNG screenshot of the ${page} page (exit ${status})")
    endif()
endforeach()

# Command lines it refuses, and the ones it answers without a window.
foreach(args "--page;nowhere" "--replay-delay;fast" "stray" "--demo;--connect")
    execute_process(COMMAND "${APP}" ${args} ${common} RESULT_VARIABLE status
                    OUTPUT_QUIET ERROR_QUIET TIMEOUT 20)
    if(NOT status EQUAL 2)
        message(FATAL_ERROR "veloran ${args}: exit ${status}, expected 2")
    endif()
endforeach()
execute_process(COMMAND "${APP}" --version RESULT_VARIABLE status OUTPUT_VARIABLE out TIMEOUT 20)
if(NOT status EQUAL 0 OR NOT out MATCHES "veloran [0-9]+\\.[0-9]+")
    message(FATAL_ERROR "veloran --version: exit ${status}, '${out}'")
endif()
