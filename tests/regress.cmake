# Runs `veloran-cli parse --json --all --gnss GNSS LOG` and compares with LOG.chk (GPS only) or
# LOG.all.chk (all systems); with REBUILD=ON rewrites the .chk instead. Invoked by ctest (one
# test per log and mode) and by the regress-rebuild target.
foreach(var CLI LOG GNSS)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "regress.cmake: ${var} not set")
    endif()
endforeach()

set(ENV{TZ} "UTC0")
if(GNSS STREQUAL "gps")
    set(chk "${LOG}.chk")
else()
    set(chk "${LOG}.${GNSS}.chk")
endif()
execute_process(
    COMMAND "${CLI}" parse --json --all --gnss ${GNSS} "${LOG}"
    OUTPUT_VARIABLE actual
    ERROR_VARIABLE errors
    RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "veloran-cli failed (${status}) on ${LOG}: ${errors}")
endif()

include("${CMAKE_CURRENT_LIST_DIR}/golden.cmake")
check_golden("${actual}" "${chk}" "${CMAKE_CURRENT_BINARY_DIR}")
