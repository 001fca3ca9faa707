# veloran-cli waypoints: exit statuses (0 ok, 1 unreadable or unwritable file, 2 bad command
# line), the data directory with its fallback, and databases a failure must leave alone.
if(NOT CLI OR NOT DATA OR NOT WORK)
    message(FATAL_ERROR "cli_waypoints.cmake: CLI, DATA and WORK must be set")
endif()
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/dir")
set(failures "")
# expect(STATUS STDOUT_REGEX STDERR_REGEX ARGS...): an empty regex is not checked.
function(expect status out_regex err_regex)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env VELORAN_DATA_DIR=${WORK}/env
                            "${CLI}" waypoints ${ARGN}
                    RESULT_VARIABLE got OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT got EQUAL status OR NOT out MATCHES "${out_regex}" OR NOT err MATCHES "${err_regex}")
        set(failures "${failures}\n  waypoints ${ARGN}: exit ${got}, out '${out}', err '${err}'"
            PARENT_SCOPE)
    endif()
endfunction()
# Listings of 5, 9 and 11 lines.
foreach(n 5 9 11)
    string(REPEAT "[^\n]*\n" ${n} lines${n})
endforeach()
set(gpx "${DATA}/gpx10_basic.gpx")
set(loc "${DATA}/loc_geocaching.loc")
set(db "${WORK}/db.wdb")

expect(0 "usage: veloran-cli waypoints list" "" --help)
# Bad command lines, as they are and with an empty argument more (never the current folder).
foreach(args "" "frob" "list;--bogus" "list;--db" "list;--data-dir" "list;--format;dmm"
             "list;extra" "import" "import;${gpx};--as" "import;${gpx};--as;kml"
             "import;${DATA}/README.md" "import;${gpx};--json" "export" "export;a.gpx;b.gpx"
             "list;--db;${db};--data-dir;${WORK}/dir" "export;a.gpx;--data-dir")
    expect(2 "" "^veloran-cli: " ${args})
    execute_process(COMMAND ${CMAKE_COMMAND} -E env VELORAN_DATA_DIR=${WORK}/env
                            "${CLI}" waypoints ${args} "" RESULT_VARIABLE got OUTPUT_QUIET ERROR_QUIET)
    if(NOT got EQUAL 2)
        set(failures "${failures}\n  waypoints ${args} '': exit ${got}, expected 2")
    endif()
endforeach()

# A new database, then appended to in document order; --as overrides the extension.
expect(0 "^5 waypoint\\(s\\) successfully imported.\n2 waypoint\\(s\\) successfully imported.\n$" ""
       import "${gpx}" "${loc}" --db "${db}")
file(COPY_FILE "${loc}" "${WORK}/caches.xml")
expect(0 "^2 waypoint" "" import "${WORK}/caches.xml" --as loc --db "${db}")
expect(0 "^Munich centre\t48.117300 N 11.516667 E\n.*\nBridge & Tunnel <Multi>\t12.500000 S 130.800000 E\n$" ""
       list --db "${db}")
expect(0 "^Munich centre\t480702.28 N 113100.00 E\n" "" list --db "${db}" --format dms)
expect(0 "^9 waypoints successfully exported.\n$" "" export "${WORK}/out.gpx" --db "${db}")

# A file that fails to load: nothing saved, also of the files that loaded. (No waypoints, or a
# file that does not load, imported into a new database: tests/data/waypoints.)
file(COPY_FILE "${db}" "${WORK}/before.wdb")
expect(1 "^$" "^veloran-cli: failed to load file! '${DATA}/empty_file.gpx': "
       import "${gpx}" "${DATA}/empty_file.gpx" --db "${db}")
expect(0 "^${lines9}$" "" list --db "${db}")

# Databases that do not read: named with the reason, never written over.
foreach(command "list" "import;${gpx}" "export;${WORK}/x.gpx")
    expect(1 "" "^veloran-cli: cannot read the waypoint database: ${WORK}/dir: Is a directory\n$"
           ${command} --db "${WORK}/dir")
endforeach()
expect(1 "" "${WORK}/missing.wdb: No such file or directory" list --db "${WORK}/missing.wdb")
# The first waypoint whole, the second cut short.
execute_process(COMMAND head -c 100 "${db}" OUTPUT_FILE "${WORK}/damaged.wdb")
expect(1 "^$" "damaged" import "${gpx}" --db "${WORK}/damaged.wdb")
expect(1 "^Munich centre\t[^\n]*\n$" "damaged after 1 waypoints" list --db "${WORK}/damaged.wdb")
expect(1 "^$" "^veloran-cli: cannot write '${WORK}/no/out.gpx': No such file or directory"
       export "${WORK}/no/out.gpx" --db "${db}")

# The data directory: Worldpoints.wdb read while Waypoints.wdb is missing, never written.
set(data "${WORK}/data")
file(MAKE_DIRECTORY "${data}")
file(COPY_FILE "${WORK}/before.wdb" "${data}/Worldpoints.wdb")
expect(0 "^2 waypoint" "" import "${loc}" --data-dir "${data}")
expect(0 "^${lines9}$" "" list --db "${data}/Worldpoints.wdb")
expect(0 "^${lines11}$" "" list --data-dir "${data}")
# A primary that exists but does not read is never replaced by the fallback and an import.
file(RENAME "${data}/Waypoints.wdb" "${WORK}/primary.wdb")
file(MAKE_DIRECTORY "${data}/Waypoints.wdb")
expect(1 "" "${data}/Waypoints.wdb: Is a directory" import "${loc}" --data-dir "${data}")
expect(0 "^${lines9}$" "" list --data-dir "${data}")
# VELORAN_DATA_DIR without --data-dir: a new folder made.
expect(0 "^5 waypoint" "" import "${gpx}")
expect(0 "^${lines5}$" "" list)

# Output lost on a full device fails the run (a device of our own, where one can be made).
execute_process(COMMAND mknod "${WORK}/full" c 1 7 RESULT_VARIABLE no_full OUTPUT_QUIET ERROR_QUIET)
if(no_full EQUAL 0)
    execute_process(COMMAND "${CLI}" waypoints list --db "${db}" OUTPUT_FILE "${WORK}/full"
                    RESULT_VARIABLE got ERROR_QUIET)
    if(NOT got EQUAL 1)
        set(failures "${failures}\n  waypoints list > full device: exit ${got}")
    endif()
    file(REMOVE "${WORK}/full")
endif()
if(failures)
    message(FATAL_ERROR "veloran-cli waypoints:${failures}")
endif()
