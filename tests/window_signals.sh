#!/usr/bin/env bash
# SIGTERM, SIGINT and SIGHUP end veloran as Quit does: source closed, every line received so far
# in the log (whole lines only), settings written.
# usage: window_signals.sh VELORAN DEMO_LOG WORK_DIR
set -euo pipefail
app=$1 demo=$2 work=$3
rm -rf "$work"
mkdir -p "$work/data"
printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
export QT_QPA_PLATFORM=offscreen
for signal in TERM INT HUP; do
    out=$work/$signal.nmea
    "$app" --replay "$demo" --replay-delay 250 --record "$out" --config-dir "$work/config-$signal" \
        --data-dir "$work/data" 2>/dev/null &
    pid=$!
    sleep 1.5
    kill -s "$signal" "$pid"
    status=0
    wait "$pid" || status=$?
    [ "$status" -eq 0 ] || { echo "SIG$signal: exit $status"; exit 1; }
    size=$(stat -c %s "$out")
    [ "$size" -gt 0 ] || { echo "SIG$signal: empty log"; exit 1; }
    [ "$(tail -c 1 "$out" | od -An -c | tr -d ' ')" = '\n' ] || { echo "SIG$signal: cut line"; exit 1; }
    cmp -s "$out" <(head -c "$size" "$demo") || { echo "SIG$signal: log is not the replayed start"; exit 1; }
    grep -q 'PlaySound=1' "$work/config-$signal/veloran.ini" || { echo "SIG$signal: settings not written"; exit 1; }
    echo "SIG$signal: ended cleanly, $(wc -l <"$out") lines recorded"
done
