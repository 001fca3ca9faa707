#!/usr/bin/env bash
# Whole-process time and CPU of the window replaying a log at full speed (--replay-delay 0) with
# the Map page shown, on the town map under the demo drive, with 2 and with 70,000 waypoints in
# the database (spread over the town, or over the region around it). The log is the demo drive,
# REPEAT times over. Best of RUNS each.
# usage: bench/window_map_waypoints.sh [BUILD_DIR] [RUNS] [REPEAT]
set -euo pipefail
build=${1:-build/dev}
runs=${2:-5}
repeat=${3:-1}
demo=$(dirname "$0")/../resources/demo.nmea
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
log=$work/drive.nmea
for _ in $(seq "$repeat"); do cat "$demo"; done >"$log"
"$build/tools/veloran-city-map" "$demo" "$work/town.png" >"$work/town.txt" 2>/dev/null
read -r _ x0 y0 lat0 lon0 < <(grep '^pair' "$work/town.txt" | head -n 1)
read -r _ x1 y1 lat1 lon1 < <(grep '^pair' "$work/town.txt" | tail -n 1)

# gpx COUNT SOUTH NORTH WEST EAST OUT
gpx() {
    awk -v n="$1" -v s="$2" -v no="$3" -v w="$4" -v e="$5" 'BEGIN {
        srand(18)
        print "<?xml version=\"1.0\"?>\n<gpx version=\"1.0\" creator=\"bench\">"
        for (i = 0; i < n; i++)
            printf "<wpt lat=\"%.6f\" lon=\"%.6f\"><name>WP%05d</name></wpt>\n",
                s + rand() * (no - s), w + rand() * (e - w), i
        print "</gpx>"
    }' >"$6"
}
setup() { # NAME COUNT SOUTH NORTH WEST EAST
    mkdir -p "$work/$1/data"
    gpx "$2" "$3" "$4" "$5" "$6" "$work/$1.gpx"
    "$build/src/cli/veloran-cli" waypoints import "$work/$1.gpx" --data-dir "$work/$1/data" \
        >/dev/null
    "$build/src/cli/veloran-cli" maps add "$work/town.png" --data-dir "$work/$1/data" \
        --ref "a:$x0,$y0:$lat0,$lon0" --ref "b:$x1,$y1:$lat1,$lon1" >/dev/null
}
setup two 2 "$lat1" "$lat0" "$lon0" "$lon1"
setup town 70000 "$lat1" "$lat0" "$lon0" "$lon1"
setup region 70000 "$(echo "$lat1 - 0.2" | bc)" "$(echo "$lat0 + 0.2" | bc)" \
    "$(echo "$lon0 - 0.3" | bc)" "$(echo "$lon1 + 0.3" | bc)"

TIMEFORMAT='%R %U %S'
for name in two town region; do
    best= cpu=
    for _ in $(seq "$runs"); do
        read -r real user sys < <({ time "$build/src/app/veloran" --replay "$log" \
            --replay-delay 0 --quit-after-replay --page map --config-dir "$work/$name/config" \
            --data-dir "$work/$name/data" >/dev/null 2>"$work/err"; } 2>&1)
        if [ -z "$best" ] || awk -v a="$real" -v b="$best" 'BEGIN { exit !(a < b) }'; then
            best=$real cpu=$(awk -v u="$user" -v s="$sys" 'BEGIN { printf "%.2f", u + s }')
        fi
    done
    echo "$name: best of $runs runs $best s, CPU $cpu s"
done
