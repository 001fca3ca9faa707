#!/usr/bin/env bash
# Whole-process time of the window replaying the generated 1.4-million-line log at full speed
# (--replay-delay 0), Dashboard shown, with the track log writing every replayed fix (Track Log
# and Include Replays in Track on, Every Fix) and without it: the track log should cost at most
# 1.2 times. Runs alternate, best of RUNS each.
# usage: bench/window_track_log.sh [BUILD_DIR] [RUNS]
set -euo pipefail
build=${1:-build/dev}
runs=${2:-3}
log=$build/large.nmea
if [ ! -s "$log" ]; then
    "$build/tools/veloran-nmea-gen" --epochs 205000 --output "$log"
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
cat "$log" >/dev/null
# Real and CPU seconds: on a busy machine the CPU time tells what the track log costs.
TIMEFORMAT="%R %U %S"
declare -A best cpu
for _ in $(seq "$runs"); do
    for track in 0 1; do
        rm -rf "$work/config" "$work/data"
        mkdir -p "$work/config" "$work/data"
        printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
        printf '[Software]\nVeloran\\TrackLog=%d\nVeloran\\TrackLogReplays=1\nVeloran\\TrackLogRate=0\n' \
            "$track" >"$work/config/veloran.ini"
        read -r t user sys < <({ time "$build/src/app/veloran" --replay "$log" --replay-delay 0 \
            --quit-after-replay --config-dir "$work/config" --data-dir "$work/data" \
            >/dev/null 2>"$work/err"; } 2>&1)
        if [ -z "${best[$track]:-}" ] || awk -v a="$t" -v b="${best[$track]}" 'BEGIN { exit !(a < b) }'; then
            best[$track]=$t
            cpu[$track]=$(awk -v u="$user" -v s="$sys" 'BEGIN { print u + s }')
        fi
    done
    points=$(grep -c '<trkpt' "$work"/data/Tracks/*.gpx 2>/dev/null || echo 0)
done
awk -v off="${best[0]}" -v on="${best[1]}" -v runs="$runs" -v points="$points" \
    -v offc="${cpu[0]}" -v onc="${cpu[1]}" 'BEGIN {
    printf "window replay at full speed, best of %d: track log off %.2f s (CPU %.2f s), on %.2f s (CPU %.2f s, %d points): %.2fx (target <= 1.2x)\n",
        runs, off, offc, on, onc, points, on / off
    exit on <= 1.2 * off ? 0 : 1 }'
