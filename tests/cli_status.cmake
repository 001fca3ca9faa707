# Exit statuses and key outputs of veloran-cli: 0 ok, 1 unreadable file, 2 bad command line.
if(NOT DEFINED CLI OR NOT DEFINED DATA)
    message(FATAL_ERROR "cli_status.cmake: CLI and DATA must be set")
endif()

set(failures "")
function(expect status expected_output)
    execute_process(COMMAND "${CLI}" ${ARGN} RESULT_VARIABLE got OUTPUT_VARIABLE out
                    ERROR_VARIABLE err)
    if(NOT got EQUAL status)
        set(failures "${failures}\n  veloran-cli ${ARGN}: exit ${got}, expected ${status} (${err})"
            PARENT_SCOPE)
    elseif(NOT expected_output STREQUAL "" AND NOT out MATCHES "${expected_output}")
        set(failures "${failures}\n  veloran-cli ${ARGN}: output '${out}' lacks '${expected_output}'"
            PARENT_SCOPE)
    endif()
endfunction()

expect(0 "usage: veloran-cli COMMAND" --help)
expect(0 "usage: veloran-cli parse" parse --help)
expect(0 "usage: veloran-cli position" position --help)
expect(0 "usage: veloran-cli distance" distance -h)
expect(2 "")
expect(2 "" frob)
expect(2 "" parse)
expect(2 "" parse --bogus "${DATA}/faults.nmea")
expect(2 "" parse "${DATA}/faults.nmea" "${DATA}/faults.nmea")
expect(1 "" parse "${DATA}/no-such-file.nmea")
expect(1 "" parse "${DATA}")
expect(0 "GGA +300\nGSA +300\nGSV +855\nRMC +300\nVTG +300\nrefused +8\nlines +2063"
       parse --summary "${DATA}/demo.nmea")
expect(0 "^1 refused\n" parse --all "${DATA}/faults.nmea")
expect(0 "DDMM.MMMM +4807.0380 N 1131.0000 E\nDDMMSS.SS +480702.28 N 113100.00 E\nUTM +687299.60 5332401.25 32U"
       position 48.1173 11.516667)
expect(0 "^00.500000 S 00.500000 W\n|DD.DDDDDD +00.500000 S 00.500000 W" position -0.5 -0.5)
expect(2 "" position 91 0)
expect(2 "" position 48 abc)
expect(2 "" position 48)
expect(0 "^111.32 km\n$" distance 48 11 49 11)
expect(0 "^60.11 nm\n$" distance 48 11 49 11 --units nautic)
expect(0 "^6.9175 miles\n$" distance 0 0 0 0.1 --units imperial)
expect(2 "" distance 48 11 49 11 --units furlong)
expect(2 "" distance 48 11 49)

if(failures)
    message(FATAL_ERROR "veloran-cli:${failures}")
endif()
