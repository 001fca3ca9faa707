# Runs `veloran-cli parse --json --all LOG` and compares with LOG.chk; with REBUILD=ON rewrites
# the .chk instead. Invoked by ctest (one test per log) and by the regress-rebuild target.
foreach(var CLI LOG)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "regress.cmake: ${var} not set")
    endif()
endforeach()

set(ENV{TZ} "UTC0")
set(chk "${LOG}.chk")
execute_process(
    COMMAND "${CLI}" parse --json --all "${LOG}"
    OUTPUT_VARIABLE actual
    ERROR_VARIABLE errors
    RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "veloran-cli failed (${status}) on ${LOG}: ${errors}")
endif()

if(REBUILD)
    file(WRITE "${chk}" "${actual}")
    message(STATUS "rewrote ${chk}")
    return()
endif()

if(NOT EXISTS "${chk}")
    message(FATAL_ERROR "${chk} missing: build the regress-rebuild target and review the result")
endif()
file(READ "${chk}" expected)
if(NOT actual STREQUAL expected)
    get_filename_component(name "${LOG}" NAME)
    set(out "${CMAKE_CURRENT_BINARY_DIR}/${name}.actual")
    file(WRITE "${out}" "${actual}")
    execute_process(COMMAND diff -u "${chk}" "${out}" OUTPUT_VARIABLE difference)
    string(SUBSTRING "${difference}" 0 4000 difference)
    message(FATAL_ERROR "${LOG}: output differs from ${chk} (full output in ${out}):\n${difference}")
endif()
