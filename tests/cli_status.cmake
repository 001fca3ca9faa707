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

# As expect(), on standard error: all it says there, one line.
function(expect_error status expected_error)
    execute_process(COMMAND "${CLI}" ${ARGN} RESULT_VARIABLE got OUTPUT_QUIET ERROR_VARIABLE err)
    if(NOT got EQUAL status OR NOT err STREQUAL "${expected_error}\n")
        set(failures
            "${failures}\n  veloran-cli ${ARGN}: exit ${got} '${err}', expected ${status} '${expected_error}'"
            PARENT_SCOPE)
    endif()
endfunction()

# The arguments and an empty one last: a bad command line, never standard input or ".".
function(expect_empty_refused)
    execute_process(COMMAND "${CLI}" ${ARGN} "" INPUT_FILE /dev/null RESULT_VARIABLE got
                    OUTPUT_QUIET ERROR_VARIABLE err)
    if(NOT got EQUAL 2)
        set(failures "${failures}\n  veloran-cli ${ARGN} '': exit ${got}, expected 2 (${err})"
            PARENT_SCOPE)
    endif()
endfunction()

# Output lost on a full device fails the run; an exit 0 would pass for a complete answer.
function(expect_output_lost)
    execute_process(COMMAND "${CLI}" ${ARGN} RESULT_VARIABLE got OUTPUT_FILE /dev/full
                    ERROR_VARIABLE err)
    if(NOT got EQUAL 1
       OR NOT err STREQUAL "veloran-cli: cannot write output: No space left on device\n")
        set(failures "${failures}\n  veloran-cli ${ARGN} >/dev/full: exit ${got} '${err}'"
            PARENT_SCOPE)
    endif()
endfunction()

function(expect_same_file file expected what)
    file(SHA256 "${file}" got)
    file(SHA256 "${expected}" want)
    if(NOT got STREQUAL want)
        set(failures "${failures}\n  ${what}: ${file} differs from ${expected}" PARENT_SCOPE)
    endif()
endfunction()

expect(0 "usage: veloran-cli COMMAND" --help)
expect(0 "^veloran-cli [0-9]+\\.[0-9]+\\.[0-9]+\n$" --version)
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
foreach(args "position;nan;10" "position;10;nan" "distance;nan;0;0;0" "distance;0;0;0;-inf")
    expect(2 "" ${args})
endforeach()
expect_empty_refused(parse)
foreach(args "position;1;2" "distance;48;11;49;11" "parse;${DATA}/demo.nmea;--json" "--help")
    expect_output_lost(${args})
endforeach()

if(DEFINED OUT)
    expect(0 "usage: veloran-cli replay" replay --help)
    expect(2 "" replay)
    expect(2 "" replay "${DATA}/demo.nmea" --delay soon)
    expect(2 "" replay "${DATA}/demo.nmea" --profile fast)
    expect(1 "" replay "${DATA}/no-such-file.nmea")
    expect(1 "" replay "${DATA}/demo.nmea" --record "${DATA}/no-such-dir/out.nmea")
    expect(0 "GGA +300\nGSA +300\nGSV +855\nRMC +300\nVTG +300\nrefused +8\nlines +2063"
           replay "${DATA}/demo.nmea" --record "${OUT}" --summary)
    file(READ "${DATA}/demo.nmea" original HEX)
    file(READ "${OUT}" recorded HEX)
    if(NOT original STREQUAL recorded)
        set(failures "${failures}\n  replay --record: the recording differs from the demo log")
    endif()
    expect(0 "" replay "${DATA}/demo.nmea" --record "${OUT}" --profile low)
    file(STRINGS "${OUT}" kept)
    list(LENGTH kept lines)
    # Low rate on 300 epochs: GGA and RMC every 8th (37 each), GSA every 16th (18), GSV groups
    # 1, 17, ... 289 whole (19 groups, 54 messages), nothing else.
    if(NOT lines EQUAL 146)
        set(failures "${failures}\n  replay --profile low recorded ${lines} lines, expected 146")
    endif()

    expect_empty_refused(replay)
    expect_empty_refused(replay "${DATA}/demo.nmea" --record)
    expect_output_lost(replay "${DATA}/demo.nmea" --summary)

    # Files that must not be recorded to. The replayed log is a copy: a wrongly accepted
    # recording would empty it.
    get_filename_component(work "${OUT}" DIRECTORY)
    set(work "${work}/cli-files")
    file(REMOVE_RECURSE "${work}")
    file(MAKE_DIRECTORY "${work}/dir")
    set(log "${work}/log.nmea")
    file(COPY_FILE "${DATA}/demo.nmea" "${log}")
    file(CREATE_LINK log.nmea "${work}/symlink.nmea" SYMBOLIC)
    file(CREATE_LINK "${log}" "${work}/hardlink.nmea")
    foreach(files "${log};${log}" "${work}/symlink.nmea;${log}" "${log};${work}/symlink.nmea"
                  "${log};${work}/hardlink.nmea")
        list(GET files 0 replayed)
        list(GET files 1 recorded)
        expect_error(1 "veloran-cli: cannot record to '${recorded}': it is the file being replayed"
                     replay "${replayed}" --record "${recorded}")
    endforeach()
    expect_same_file("${log}" "${DATA}/demo.nmea" "refused recording onto the replayed log")
    expect_error(1 "veloran-cli: cannot open '${work}/dir': Is a directory" replay "${work}/dir")
    # Offset 0 of a process's memory is never mapped: a read error, not an empty log.
    expect_error(1 "veloran-cli: cannot read '/proc/self/mem': Input/output error"
                 replay /proc/self/mem)
    expect_error(1 "veloran-cli: cannot record to '${work}/dir': Is a directory"
                 replay "${log}" --record "${work}/dir")

    # The recording is opened after its source: a log that cannot be read leaves it alone.
    file(WRITE "${work}/keep.nmea" "kept\n")
    expect_error(1 "veloran-cli: cannot open '${work}/missing.nmea': No such file or directory"
                 replay "${work}/missing.nmea" --record "${work}/keep.nmea")
    file(READ "${work}/keep.nmea" kept)
    if(NOT kept STREQUAL "kept\n")
        set(failures "${failures}\n  replay of a missing log changed the recording to '${kept}'")
    endif()

    file(WRITE "${work}/old.nmea" "an older recording\n")
    expect_error(0 "veloran-cli: recording to '${work}/old.nmea' replaces its 19 bytes"
                 replay "${log}" --record "${work}/old.nmea")
    expect_same_file("${work}/old.nmea" "${log}" "replacing recording")

    # ports on a machine without any (the listing itself: test_port_access.cpp, on fake trees).
    expect(0 "^usage: veloran-cli ports \\[--json\\]\n" ports --help)
    expect_error(2 "veloran-cli: ports: expected no argument" ports extra)
    expect_error(2 "veloran-cli: ports: unknown option '--bogus'" ports --bogus)
    expect_empty_refused(ports)
    foreach(format "" "--json")
        execute_process(COMMAND ${CMAKE_COMMAND} -E env "VELORAN_PORT_ROOT=${work}/no-ports"
                                "${CLI}" ports ${format}
                        RESULT_VARIABLE got OUTPUT_VARIABLE out ERROR_VARIABLE err)
        set(want "No serial port found.\n")
        if(format STREQUAL "--json")
            set(want "")
        endif()
        if(NOT got EQUAL 0 OR NOT out STREQUAL want OR NOT err STREQUAL "")
            set(failures "${failures}\n  ports ${format} without ports: exit ${got} '${out}' '${err}'")
        endif()
    endforeach()
endif()

if(failures)
    message(FATAL_ERROR "veloran-cli:${failures}")
endif()
