# Imports SAMPLE into a new database, lists it as JSON and compares both runs (output, first
# line of stderr, exit status) with SAMPLE.chk; with REBUILD=ON rewrites the .chk instead.
# Invoked by ctest (one test per sample) and by the regress-rebuild target.
foreach(var CLI SAMPLE WORK)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "regress_waypoints.cmake: ${var} not set")
    endif()
endforeach()

get_filename_component(name "${SAMPLE}" NAME)
get_filename_component(folder "${SAMPLE}" DIRECTORY)
file(MAKE_DIRECTORY "${WORK}")
set(db "${WORK}/${name}.wdb")
file(REMOVE "${db}")

# Paths in the messages as the .chk shows them: the sample by its name, the database as DB.
set(actual "")
function(run)
    execute_process(COMMAND "${CLI}" waypoints ${ARGN}
                    WORKING_DIRECTORY "${folder}"
                    OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status)
    string(REPLACE "${db}" "DB" shown_args "${ARGN}")
    string(REPLACE ";" " " shown_args "${shown_args}")
    string(REGEX REPLACE "\n.*" "" err "${err}")
    string(REPLACE "${db}" "DB" err "${err}")
    set(text "$ veloran-cli waypoints ${shown_args}\n${out}")
    if(NOT err STREQUAL "")
        string(APPEND text "stderr: ${err}\n")
    endif()
    set(actual "${actual}${text}exit ${status}\n" PARENT_SCOPE)
endfunction()

run(import "${name}" --db "${db}")
run(list --db "${db}" --json)

set(chk "${SAMPLE}.chk")
include("${CMAKE_CURRENT_LIST_DIR}/golden.cmake")
check_golden("${actual}" "${chk}" "${WORK}")
