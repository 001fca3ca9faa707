# veloran-cli maps: add, list, locate and track on a real bitmap and the demo drive, as a
# transcript compared with data/maps/cli_maps.chk (REBUILD=ON rewrites it); exit statuses, the
# data directory with its Worldmap.gdb fallback, and databases a failure must leave alone.
foreach(var CLI DATA LOG WORK)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "cli_maps.cmake: ${var} not set")
    endif()
endforeach()
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/data")
file(COPY_FILE "${DATA}/map.png" "${WORK}/map.png")
set(failures "")
set(actual "")
# run(STATUS ARGS...): one transcript entry with WORK and LOG shown by name; the exit status
# must be STATUS.
function(run status)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env VELORAN_DATA_DIR=${WORK}/env
                            "${CLI}" maps ${ARGN}
                    WORKING_DIRECTORY "${WORK}"
                    OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE got)
    set(text "$ veloran-cli maps ${ARGN}\n${out}")
    string(REGEX REPLACE "\n.*" "" err "${err}")
    if(NOT err STREQUAL "")
        string(APPEND text "stderr: ${err}\n")
    endif()
    string(APPEND text "exit ${got}\n")
    string(REPLACE ";" " " text "${text}")
    string(REPLACE "${LOG}" "LOG" text "${text}")
    string(REPLACE "${WORK}" "WORK" text "${text}")
    set(actual "${actual}${text}" PARENT_SCOPE)
    if(NOT got EQUAL status)
        set(failures "${failures}\n  maps ${ARGN}: exit ${got}, expected ${status}" PARENT_SCOPE)
    endif()
endfunction()
# unchanged(FILE COPY): FILE still holds what COPY does.
function(unchanged file copy)
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files "${file}" "${copy}"
                    RESULT_VARIABLE different)
    if(different)
        set(failures "${failures}\n  ${file} changed" PARENT_SCOPE)
    endif()
endfunction()

execute_process(COMMAND "${CLI}" maps --help OUTPUT_VARIABLE out RESULT_VARIABLE got)
if(NOT got EQUAL 0 OR NOT out MATCHES "^usage: veloran-cli maps list")
    set(failures "${failures}\n  maps --help: exit ${got}")
endif()
# Bad command lines, as they are and with an empty argument more (never the current folder).
foreach(args "" "frob" "list;extra" "list;--bogus" "list;--db" "add" "add;map.png;--json"
             "add;map.png;--ref;A:0,0" "add;map.png;--ref;A:0,0:91,0" "add;map.png;--ref;A:0,x:1,1"
             "locate;48" "locate;48;x" "track" "track;${LOG};--map;-1" "list;--db;a;--data-dir;b"
             "add;map.png;--calibration;map.pgw;--ref;a:0,0:1,1"
             "add;map.png;--ref;A:0,0:1,1;--ref;B:0,0:1,1" "add;map.png;--ref;A:0,0:1,1;--ref;B:9,0:2,2"
             "add;map.png;--ref;A:0,0:1,1;--ref;B:9,9:1,2" "add;map.png;--ref;A:0,0:nan,1"
             "add;map.png;--ref;A:0,0:1,180.5" "add;map.png;--ref;A:0,0:1e400,1" "locate;90.5;0"
             "locate;0;-181" "locate;inf;0")
    run(2 ${args})
    execute_process(COMMAND "${CLI}" maps ${args} "" RESULT_VARIABLE got OUTPUT_QUIET ERROR_QUIET)
    if(NOT got EQUAL 2)
        set(failures "${failures}\n  maps ${args} '': exit ${got}, expected 2")
    endif()
endforeach()

# Three maps: the demo drive's area (pairs in the order given; the middle one only listed), a
# coarser one around it, one without pairs.
set(db "${WORK}/db.gdb")
run(0 add map.png --db "${db}" --ref "Nord-West:0,0:48.2,11.5" --ref "Mitte: Süd:500,400:48.15,11.6"
    --ref "Süd-Ost:1000,800:48.1,11.7")
file(COPY_FILE "${db}" "${WORK}/one.gdb")
run(0 add "${WORK}/./map.png" --db "${db}" --name "Übersicht" --ref "a:0,0:49,11" --ref "b:1000,800:47,13")
run(0 add map.png --db "${db}" --name "ohne Referenz")
run(0 list --db "${db}")
run(0 list --db "${db}" --json)
run(0 locate 48.15 11.6 --db "${db}")
run(0 locate 48.5 11.2 --db "${db}" --json)
run(0 locate -33.9 151.2 --db "${db}" --json)
run(0 track "${LOG}" --db "${db}" --map 1)
run(0 track "${LOG}" --db "${db}" --map 2)
run(0 track "${LOG}" --db "${db}" --reception --json)

# Pairs fitted from a world file beside the image (this one: pixel centres, north up).
file(WRITE "${WORK}/map.pgw" "0.0002\n0\n0\n-0.000125\n11.5001\n48.1999375\n")
run(0 add map.png --db "${WORK}/fitted.gdb" --calibration map.pgw)
run(0 list --db "${WORK}/fitted.gdb")
run(1 add map.png --db "${WORK}/fitted.gdb" --calibration map.png)

# A KML box across the antimeridian: its longitudes run through 180, -175 lies on it.
file(WRITE "${WORK}/dateline.kml" "<kml><GroundOverlay><LatLonBox><north>10</north><south>0</south>"
     "<east>-170</east><west>170</west></LatLonBox></GroundOverlay></kml>\n")
run(0 add map.png --db "${WORK}/dateline.gdb" --calibration dateline.kml)
run(0 locate 5 -175 --db "${WORK}/dateline.gdb")
run(0 locate 5 175 --db "${WORK}/dateline.gdb")
run(0 locate 5 -169 --db "${WORK}/dateline.gdb")
run(0 locate 5 180 --db "${WORK}/dateline.gdb")
# ±180 are both the antimeridian; ±90 the poles.
run(0 add map.png --db "${WORK}/edges.gdb" --ref "w:0,0:90,-180" --ref "e:1000,800:-90,180")
run(0 locate -90 180 --db "${WORK}/edges.gdb")

# Failures name the file and change nothing.
file(COPY_FILE "${db}" "${WORK}/before.gdb")
run(1 list --db "${WORK}/missing.gdb")
run(1 track "${WORK}/missing.nmea" --db "${db}")
run(1 track "${WORK}/data" --db "${db}")
run(2 track "${LOG}" --db "${db}" --map 3)
run(1 add "${LOG}" --db "${db}")
run(1 add map.png --db "${WORK}/data")
unchanged("${db}" "${WORK}/before.gdb")
# Cut inside the second map: the first is listed, nothing is added.
file(SIZE "${WORK}/one.gdb" one_size)
math(EXPR cut "${one_size} + 20")
execute_process(COMMAND head -c ${cut} "${db}" OUTPUT_FILE "${WORK}/damaged.gdb")
file(COPY_FILE "${WORK}/damaged.gdb" "${WORK}/damaged.before")
run(1 list --db "${WORK}/damaged.gdb")
run(1 add map.png --db "${WORK}/damaged.gdb")
unchanged("${WORK}/damaged.gdb" "${WORK}/damaged.before")

# The data directory: Worldmap.gdb read while MapInfo.gdb is missing, never written.
file(COPY_FILE "${db}" "${WORK}/data/Worldmap.gdb")
run(0 list --data-dir "${WORK}/data")
run(0 add map.png --data-dir "${WORK}/data" --name "vierte")
run(0 list --db "${WORK}/data/MapInfo.gdb")
unchanged("${WORK}/data/Worldmap.gdb" "${db}")
# VELORAN_DATA_DIR without --data-dir: a new folder made.
run(0 add map.png)
run(0 locate 48.15 11.6)

include("${CMAKE_CURRENT_LIST_DIR}/golden.cmake")
check_golden("${actual}" "${DATA}/cli_maps.chk" "${WORK}")
if(failures)
    message(FATAL_ERROR "veloran-cli maps:${failures}")
endif()
