# Replays the demo drive with the proximity alarm on each waypoint of ROUTE (a GPX file) and
# compares the alerts with ROUTE.chk; REBUILD=ON rewrites the .chk.
set(db "${WORK}/route.wdb")
file(MAKE_DIRECTORY "${WORK}")
file(REMOVE "${db}")
execute_process(COMMAND "${CLI}" waypoints import "${ROUTE}" --db "${db}"
                OUTPUT_QUIET RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "import of ${ROUTE} failed: ${status}")
endif()
set(actual "")
foreach(name Bakery Crossing Elsewhere)
    foreach(format "" --json)
        execute_process(COMMAND "${CLI}" replay "${LOG}" --waypoints "${db}" --goto ${name}
                                ${format}
                        OUTPUT_VARIABLE out RESULT_VARIABLE status)
        string(APPEND actual "$ replay demo.nmea --goto ${name} ${format}\n${out}exit ${status}\n")
    endforeach()
endforeach()
include("${CMAKE_CURRENT_LIST_DIR}/golden.cmake")
check_golden("${actual}" "${ROUTE}.chk" "${WORK}")
