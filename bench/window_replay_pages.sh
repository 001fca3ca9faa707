#!/usr/bin/env bash
# Whole-process time of the window replaying the generated 1.4-million-line log at full speed
# (--replay-delay 0) with the Dashboard shown, and with the List page shown: the instruments'
# repaints are coalesced, never one per line. Best of RUNS each.
# usage: bench/window_replay_pages.sh [BUILD_DIR] [RUNS]
set -euo pipefail
build=${1:-build/dev}
runs=${2:-3}
log=$build/large.nmea
if [ ! -s "$log" ]; then
    "$build/tools/veloran-nmea-gen" --epochs 205000 --output "$log"
fi
work=$(mktemp -d)
mkdir -p "$work/data"
printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
trap 'rm -rf "$work"' EXIT
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
TIMEFORMAT=%R
for page in dashboard list; do
    best=
    for _ in $(seq "$runs"); do
        t=$({ time "$build/src/app/veloran" --replay "$log" --replay-delay 0 --quit-after-replay \
            --page "$page" --config-dir "$work/config" --data-dir "$work/data" \
            >/dev/null 2>"$work/err"; } 2>&1)
        if [ -z "$best" ] || awk -v a="$t" -v b="$best" 'BEGIN { exit !(a < b) }'; then
            best=$t
        fi
    done
    echo "$page page: best of $runs runs $best s"
done
