#!/usr/bin/env bash
# A map database naming a FIFO as its map file: the window shows no map and says why instead of
# waiting for a writer, a screenshot run finishes, and SIGTERM ends a running window at once.
# usage: window_map_fifo.sh VELORAN VELORAN_CLI MAP_PNG WORK_DIR
set -euo pipefail
app=$1 cli=$2 png=$3 work=$4
rm -rf "$work"
mkdir -p "$work/data"
printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
cp "$png" "$work/map.png"
"$cli" maps add "$work/map.png" --data-dir "$work/data" --ref "a:0,0:49,11" \
    --ref "b:1000,800:47,13" >/dev/null
rm "$work/map.png"
mkfifo "$work/map.png"
export QT_QPA_PLATFORM=offscreen
fail() { echo "$*"; exit 1; }
now_ms() { date +%s%3N; }

# The failed load counts as an error of an unattended run: exit 1, with the reason.
status=0
timeout 60 "$app" --data-dir "$work/data" --config-dir "$work/config" --page map \
    --screenshot "$work/shot.png" 2>"$work/shot.err" || status=$?
[ "$status" -ne 124 ] || fail "screenshot: hung"
[ "$status" -eq 1 ] || fail "screenshot: exit $status"
[ -s "$work/shot.png" ] || fail "screenshot: no picture"
grep -q 'Failed to load mapfile. (.*map.png: Not a regular file)' "$work/shot.err" \
    || fail "screenshot: no reason given: $(cat "$work/shot.err")"
echo "screenshot: finished, map refused"

# Running, with the map page shown: SIGTERM ends it well within the two seconds it has.
"$app" --data-dir "$work/data" --config-dir "$work/config" --page map 2>/dev/null &
pid=$!
sleep 2
kill -0 "$pid" 2>/dev/null || fail "SIGTERM: the window ended by itself"
sent=$(now_ms)
kill -TERM "$pid"
while kill -0 "$pid" 2>/dev/null; do
    if [ $(($(now_ms) - sent)) -gt 5000 ]; then
        kill -KILL "$pid"
        fail "SIGTERM: still running after 5 s"
    fi
    sleep 0.05
done
took=$(($(now_ms) - sent))
status=0
wait "$pid" || status=$?
[ "$status" -eq 0 ] || fail "SIGTERM: exit $status after $took ms"
echo "SIGTERM: ended in $took ms"
