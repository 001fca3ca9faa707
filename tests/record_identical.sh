#!/usr/bin/env bash
# Replayed at full speed with everything recorded, any log comes out byte for byte, garbage
# included, in both modes, through the CLI and the window. Then the window's command line without
# any display: help and version answer (exit 0), a bad option is refused (exit 2).
# usage: record_identical.sh VELORAN_CLI VELORAN DATA_DIR WORK_DIR
set -euo pipefail
cli=$1 app=$2 data=$3 work=$4
rm -rf "$work"
mkdir -p "$work/data"
printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
gga='$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47\r\n'
rmc='$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A\r\n'
long300=$(printf '%0300d' 0 | tr 0 x)

fail() {
    echo "FAIL: $*"
    exit 1
}

# name, then the bytes as printf format text
make_log() {
    local name=$1
    shift
    printf "$@" >"$work/$name.nmea"
}
make_log glue "$gga"'$GPGGA,12$'"$long300"'\r\n'"$rmc$gga"
make_log long "$gga$long300$long300"'\n'"$rmc"
make_log storm '$$$$$$'"$gga"'$$\n'"$rmc"
make_log cr-only "$gga"'\r\r\r\r\r\r\r\r\r\r\r\r\n\r\r\r'"$rmc"
make_log nul "$gga"'$GP\0GGA,1\0\0\r\n\0\n'"$rmc"
make_log l255 '$'"$(printf '%0254d' 0 | tr 0 a)"'\r\n'"$gga"
make_log l256 '$'"$(printf '%0255d' 0 | tr 0 a)"'\r\n'"$gga"
for log in "$work"/*.nmea "$data/faults.nmea" "$data/multi_gnss.nmea"; do
    name=$(basename "$log" .nmea)
    for gnss in all gps; do
        out=$work/$name.$gnss.cli
        "$cli" replay "$log" --delay 0 --record "$out" --gnss "$gnss" >/dev/null 2>&1 ||
            fail "veloran-cli replay of $name --gnss $gnss"
        cmp -s "$log" "$out" || fail "veloran-cli: the recording of $name (--gnss $gnss) differs"
        out=$work/$name.$gnss.window
        QT_QPA_PLATFORM=offscreen "$app" --replay "$log" --replay-delay 0 --record "$out" \
            --quit-after-replay --gnss "$gnss" --config-dir "$work/config" \
            --data-dir "$work/data" >/dev/null 2>&1 || fail "veloran replay of $name --gnss $gnss"
        cmp -s "$log" "$out" || fail "veloran: the recording of $name (--gnss $gnss) differs"
    done
    echo "ok: $name recorded byte for byte, both modes, CLI and window"
done

nodisplay=(env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM)
status=0
out=$("${nodisplay[@]}" "$app" --help 2>&1) || status=$?
[ "$status" -eq 0 ] && [[ $out == *"--replay <FILE>"* ]] || fail "veloran --help: exit $status"
status=0
out=$("${nodisplay[@]}" "$app" --version 2>&1) || status=$?
[ "$status" -eq 0 ] && [[ $out =~ ^veloran\ [0-9]+\.[0-9]+ ]] || fail "veloran --version: exit $status"
for bad in --bogus -x "--page nowhere" "--gnss galileo" stray "--replay"; do
    status=0
    # shellcheck disable=SC2086 # the option and its value
    "${nodisplay[@]}" "$app" $bad >/dev/null 2>"$work/err" || status=$?
    [ "$status" -eq 2 ] || fail "veloran $bad without a display: exit $status, expected 2"
    grep -q '^veloran: ' "$work/err" || fail "veloran $bad: no message"
done
status=0
"${nodisplay[@]}" "$app" -platform offscreen --version >/dev/null || status=$?
[ "$status" -eq 0 ] || fail "veloran -platform offscreen --version: exit $status"
echo "ok: help, version and bad options without a display"
