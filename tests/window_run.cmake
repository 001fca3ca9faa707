# The veloran window run as a user would: replay with recording, screenshots, signals, bad
# command lines. Needs QT_QPA_PLATFORM=offscreen.
if(NOT DEFINED APP OR NOT DEFINED DATA OR NOT DEFINED WORK)
    message(FATAL_ERROR "window_run.cmake: APP, DATA and WORK must be set")
endif()
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
set(common --config-dir "${WORK}/config" --data-dir "${WORK}/data")

# All rates 1 and log-others on: the recording is the replayed log, byte for byte.
# Read both ways: all systems cut lines at each "$" too, and record the pieces as they came.
foreach(run demo:all demo:gps multi_gnss:all multi_gnss:gps multi_drive:all faults:all faults:gps)
    string(REPLACE ":" ";" run "${run}")
    list(GET run 0 log)
    list(GET run 1 gnss)
    execute_process(COMMAND "${APP}" --replay "${DATA}/${log}.nmea" --replay-delay 0
                            --record "${WORK}/${log}.out" --quit-after-replay --gnss ${gnss}
                            ${common}
                    RESULT_VARIABLE status TIMEOUT 60)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "replay of ${log}.nmea ended with ${status}")
    endif()
    # The first start made the data folder and had no waypoints to miss; from now on a
    # missing database would be reported.
    if(NOT EXISTS "${WORK}/data/Waypoints.wdb")
        execute_process(COMMAND printf "\\000\\000" OUTPUT_FILE "${WORK}/data/Waypoints.wdb")
    endif()
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files "${DATA}/${log}.nmea"
                            "${WORK}/${log}.out" RESULT_VARIABLE differ)
    if(differ)
        message(FATAL_ERROR "the recording of ${log}.nmea differs from it")
    endif()
endforeach()

# A new user's second start: the data folder has no database of the user's, which is no fault
# (the factory cities are there), so the unattended run succeeds.
set(fresh --config-dir "${WORK}/fresh/config" --data-dir "${WORK}/fresh/data")
foreach(start first second)
    execute_process(COMMAND "${APP}" --demo --replay-delay 0 --screenshot "${WORK}/fresh.png"
                            ${fresh}
                    RESULT_VARIABLE status ERROR_VARIABLE err TIMEOUT 60)
    if(NOT status EQUAL 0 OR err MATCHES "Waypoint-Database")
        message(FATAL_ERROR "${start} start without a waypoint database: exit ${status}\n${err}")
    endif()
    if(NOT EXISTS "${WORK}/fresh/data/Worldpoints.wdb" OR EXISTS "${WORK}/fresh/data/Waypoints.wdb")
        message(FATAL_ERROR "${start} start: no factory Worldpoints.wdb, or a Waypoints.wdb made")
    endif()
endforeach()
# A database there but unreadable is a real fault: reported, and the run fails.
file(REMOVE "${WORK}/fresh/data/Worldpoints.wdb")
file(MAKE_DIRECTORY "${WORK}/fresh/data/Worldpoints.wdb")
execute_process(COMMAND "${APP}" --demo --replay-delay 0 --screenshot "${WORK}/fresh.png" ${fresh}
                RESULT_VARIABLE status ERROR_VARIABLE err TIMEOUT 60)
if(NOT status EQUAL 1 OR NOT err MATCHES "Waypoint-Database")
    message(FATAL_ERROR "an unreadable Worldpoints.wdb: exit ${status}, expected 1\n${err}")
endif()

# Screenshots of the pages after the demo.
foreach(page dashboard list satellites data digital)
    execute_process(COMMAND "${APP}" --demo --replay-delay 0 --page ${page}
                            --screenshot "${WORK}/${page}.png" ${common}
                    RESULT_VARIABLE status TIMEOUT 60)
    file(READ "${WORK}/${page}.png" head LIMIT 8 HEX)
    if(NOT status EQUAL 0 OR NOT head STREQUAL "89504e470d0a1a0a")
        message(FATAL_ERROR "no PNG screenshot of the ${page} page (exit ${status})")
    endif()
endforeach()

# Command lines it refuses, and the ones it answers without a window.
foreach(args "--page;nowhere" "--replay-delay;fast" "stray" "--demo;--connect" "--gnss;galileo")
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

# An empty value is refused, whether anyone is there to click or not, also when the option is
# given again with a value.
foreach(option record replay port config-dir data-dir screenshot gnss)
    foreach(unattended "" --quit-after-replay)
        execute_process(COMMAND "${APP}" ${unattended} --${option} "" ${common}
                        RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE err TIMEOUT 20)
        if(NOT status EQUAL 2 OR NOT err MATCHES "--${option}")
            message(FATAL_ERROR "veloran ${unattended} --${option} '': exit ${status}\n${err}")
        endif()
    endforeach()
endforeach()

# Errors of runs with nobody to click: no box, the error on stderr, exit 1 within seconds.
function(expect_unattended_error error)
    string(TIMESTAMP start "%s%f")
    execute_process(COMMAND "${APP}" ${ARGN} ${common} RESULT_VARIABLE status
                    OUTPUT_QUIET ERROR_VARIABLE err TIMEOUT 20)
    string(TIMESTAMP end "%s%f")
    math(EXPR ms "(${end} - ${start}) / 1000")
    if(NOT status EQUAL 1)
        message(FATAL_ERROR "veloran ${ARGN}: exit ${status} after ${ms} ms, expected 1\n${err}")
    endif()
    string(FIND "${err}" "veloran: ERROR: ${error}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "veloran ${ARGN}: stderr lacks 'ERROR: ${error}'\n${err}")
    endif()
    set(err "${err}" PARENT_SCOPE)
    set(ms ${ms} PARENT_SCOPE)
endfunction()

# Recording onto the replayed log, by its name or a link: refused, the log untouched.
set(log "${WORK}/log.nmea")
file(COPY_FILE "${DATA}/demo.nmea" "${log}")
file(CREATE_LINK log.nmea "${WORK}/link.nmea" SYMBOLIC)
foreach(recorded "${log}" "${WORK}/link.nmea")
    expect_unattended_error(
        "Failed to create log file. (${recorded}: it is the file being replayed)"
        --replay "${log}" --record "${recorded}" --quit-after-replay)
endforeach()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files "${DATA}/demo.nmea" "${log}"
                RESULT_VARIABLE differ)
if(differ)
    message(FATAL_ERROR "a refused recording changed the replayed log")
endif()

# A full disk: a device of our own that answers every write with ENOSPC (where one can be made).
execute_process(COMMAND mknod "${WORK}/full" c 1 7 RESULT_VARIABLE no_full OUTPUT_QUIET ERROR_QUIET)
if(no_full EQUAL 0)
    expect_unattended_error(
        "Failed to write the log file; recording has stopped. (${WORK}/full: No space left on device)"
        --replay "${DATA}/demo.nmea" --replay-delay 0 --record "${WORK}/full" --quit-after-replay)
    file(REMOVE "${WORK}/full")
endif()
expect_unattended_error(
    "Failed to create log file. (${WORK}/missing/x.nmea: No such file or directory)"
    --replay "${DATA}/demo.nmea" --record "${WORK}/missing/x.nmea" --quit-after-replay)
file(MAKE_DIRECTORY "${WORK}/dir")
expect_unattended_error("failed to open file. (${WORK}/dir: Is a directory)"
                        --replay "${WORK}/dir" --quit-after-replay)

expect_unattended_error("failed to read file. (/proc/self/mem: Input/output error)"
                        --replay /proc/self/mem --quit-after-replay)

# No source, no recording: the file stays as it was.
file(WRITE "${WORK}/keep.nmea" "kept\n")
expect_unattended_error("failed to open file. (${WORK}/missing.nmea: No such file or directory)"
                        --replay "${WORK}/missing.nmea" --record "${WORK}/keep.nmea"
                        --quit-after-replay)
file(READ "${WORK}/keep.nmea" kept)
string(FIND "${err}" "veloran: not recording to ${WORK}/keep.nmea: no data source" at)
if(at EQUAL -1 OR NOT kept STREQUAL "kept\n")
    message(FATAL_ERROR "replay of a missing log: recording kept '${kept}'\n${err}")
endif()

# A plain file is no serial port; the run does not wait for its 5 s live screenshot. The box
# says why and lists the ports there are (none: the test's port tree is empty).
file(WRITE "${WORK}/plain" "")
expect_unattended_error("Failed to open COM Port. ${WORK}/plain is not a serial port. No serial port is plugged in: plug the receiver in and try again. ("
                        --port "${WORK}/plain" --connect --screenshot "${WORK}/port.png")
if(ms GREATER_EQUAL 4000)
    message(FATAL_ERROR "veloran --port PLAINFILE --screenshot: took ${ms} ms to give up")
endif()

# A settings file it cannot use: a warning, the run goes on, the file is kept as it was.
string(REPEAT "x" 1100000 padding)
foreach(broken "no setting;this is no setting\n;it is not a valid settings file"
               "too large;[Software]\nVeloran\\Padding=${padding}\n;it is larger than 1 MB")
    list(GET broken 0 name)
    list(GET broken 1 content)
    list(GET broken 2 reason)
    string(REPLACE " " "-" dir "${WORK}/settings-${name}")
    file(WRITE "${dir}/veloran.ini" "${content}")
    execute_process(COMMAND "${APP}" --demo --replay-delay 0 --quit-after-replay
                            --config-dir "${dir}" --data-dir "${WORK}/data"
                            RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE err TIMEOUT 20)
    file(READ "${dir}/veloran.ini" kept)
    if(NOT status EQUAL 0 OR NOT kept STREQUAL content
       OR NOT err MATCHES "veloran: warning: The settings file cannot be used[^\n]*: ${reason}\\)")
        message(FATAL_ERROR "settings file with ${name}: exit ${status}\n${err}")
    endif()
endforeach()
