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

include("${CMAKE_CURRENT_LIST_DIR}/golden.cmake")
check_golden("${actual}" "${chk}" "${CMAKE_CURRENT_BINARY_DIR}")
