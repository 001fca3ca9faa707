# veloran-cli waypoints: exit statuses (0 ok, 1 unreadable or unwritable file, 2 bad command
# line), the data directory with its fallback, and databases a failure must leave alone.
foreach(var CLI DATA WORK)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "cli_waypoints.cmake: ${var} not set")
    endif()
endforeach()
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
# As expect(), for a listing of `count` lines.
function(expect_lines status count)
    expect(${status} "" "" ${ARGN})
    execute_process(COMMAND ${CMAKE_COMMAND} -E env VELORAN_DATA_DIR=${WORK}/env
                            "${CLI}" waypoints ${ARGN} OUTPUT_VARIABLE out ERROR_QUIET)
    string(REGEX MATCHALL "\n" lines "${out}")
    list(LENGTH lines got)
    if(NOT got EQUAL count)
        set(failures "${failures}\n  waypoints ${ARGN}: ${got} lines, expected ${count}")
    endif()
    set(failures "${failures}" PARENT_SCOPE)
endfunction()
function(expect_same a b what)
    file(SHA256 "${a}" ha)
    file(SHA256 "${b}" hb)
    if(NOT ha STREQUAL hb)
        set(failures "${failures}\n  ${what}: ${a} differs from ${b}" PARENT_SCOPE)
    endif()
endfunction()

set(gpx "${DATA}/gpx10_basic.gpx")
set(loc "${DATA}/loc_geocaching.loc")
set(db "${WORK}/db.wdb")

# Bad command lines.
expect(0 "usage: veloran-cli waypoints list" "" --help)
foreach(args "" "frob" "list;--bogus" "list;--db" "list;--format;dmm" "list;extra" "import"
             "import;${gpx};--as;kml" "import;${DATA}/README.md" "import;${gpx};--json" "export"
             "export;a.gpx;b.gpx" "list;--db;${db};--data-dir;${WORK}/dir"
             "export;a.gpx;--data-dir")
    expect(2 "" "^veloran-cli: " ${args})
endforeach()
# Empty arguments: a bad command line, never the current folder.
foreach(args "list;--db" "list;--data-dir" "import" "import;${gpx};--as" "export")
    execute_process(COMMAND "${CLI}" waypoints ${args} "" RESULT_VARIABLE got OUTPUT_QUIET
                    ERROR_QUIET)
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
expect_lines(0 9 list --db "${db}")
expect(0 "^Munich centre\t480702.28 N 113100.00 E\n" "" list --db "${db}" --format dms)
expect(0 "^9 waypoints successfully exported.\n$" "" export "${WORK}/out.gpx" --db "${db}")

# A file that fails to load: nothing saved, also of the files that loaded.
file(COPY_FILE "${db}" "${WORK}/before.wdb")
expect(1 "^$" "^veloran-cli: failed to load file! '${DATA}/empty_file.gpx': "
       import "${gpx}" "${DATA}/empty_file.gpx" --db "${db}")
expect(1 "^$" "No such file or directory" import "${WORK}/missing.gpx" --db "${db}")
expect_same("${db}" "${WORK}/before.wdb" "failed import")
# Zero waypoints leave the database as it was, a new one not even created.
expect(0 "^0 waypoint\\(s\\)" "" import "${DATA}/gpx_empty.gpx" --db "${WORK}/none.wdb")
if(EXISTS "${WORK}/none.wdb")
    set(failures "${failures}\n  an import of no waypoints created the database")
endif()

# Databases that do not read: named with the reason, never written over.
foreach(command "list" "import;${gpx}" "export;${WORK}/x.gpx")
    expect(1 "" "^veloran-cli: cannot read the waypoint database: ${WORK}/dir: Is a directory\n$"
           ${command} --db "${WORK}/dir")
endforeach()
# Only an import starts a new database.
foreach(command "list" "export;${WORK}/x.gpx")
    expect(1 "" "${WORK}/missing.wdb: No such file or directory" ${command} --db "${WORK}/missing.wdb")
endforeach()
# The first waypoint whole, the second cut short.
execute_process(COMMAND head -c 100 "${db}" OUTPUT_FILE "${WORK}/damaged.wdb")
expect(1 "^Munich centre\t[^\n]*\n$" "damaged after 1 waypoints" list --db "${WORK}/damaged.wdb")
file(COPY_FILE "${WORK}/damaged.wdb" "${WORK}/damaged-before.wdb")
expect(1 "^$" "damaged" import "${gpx}" --db "${WORK}/damaged.wdb")
expect_same("${WORK}/damaged.wdb" "${WORK}/damaged-before.wdb" "import into a damaged database")
expect(1 "^$" "^veloran-cli: cannot write '${WORK}/no/out.gpx': No such file or directory"
       export "${WORK}/no/out.gpx" --db "${db}")

# The data directory: Worldpoints.wdb read while Waypoints.wdb is missing, never written.
set(data "${WORK}/data")
file(MAKE_DIRECTORY "${data}")
file(COPY_FILE "${WORK}/before.wdb" "${data}/Worldpoints.wdb")
expect(0 "^2 waypoint" "" import "${loc}" --data-dir "${data}")
expect_same("${data}/Worldpoints.wdb" "${WORK}/before.wdb" "the fallback database")
expect_lines(0 11 list --data-dir "${data}")
# A primary that exists but does not read is never replaced by the fallback and an import.
file(RENAME "${data}/Waypoints.wdb" "${WORK}/primary.wdb")
file(MAKE_DIRECTORY "${data}/Waypoints.wdb")
expect(1 "" "${data}/Waypoints.wdb: Is a directory" import "${loc}" --data-dir "${data}")
expect_lines(0 9 list --data-dir "${data}")
file(REMOVE_RECURSE "${data}/Waypoints.wdb")
# VELORAN_DATA_DIR without --data-dir; a new folder is made.
expect(0 "^5 waypoint" "" import "${gpx}")
expect_lines(0 5 list)
if(NOT EXISTS "${WORK}/env/Waypoints.wdb")
    set(failures "${failures}\n  VELORAN_DATA_DIR: no ${WORK}/env/Waypoints.wdb")
endif()

# Output lost on a full device fails the run.
execute_process(COMMAND "${CLI}" waypoints list --db "${db}" OUTPUT_FILE /dev/full
                RESULT_VARIABLE got ERROR_QUIET)
if(NOT got EQUAL 1)
    set(failures "${failures}\n  waypoints list >/dev/full: exit ${got}")
endif()

if(failures)
    message(FATAL_ERROR "veloran-cli waypoints:${failures}")
endif()
