#!/usr/bin/env bash
# CPU the window spends on the Dashboard page fed at real time (the demo replayed at 100 %, one
# epoch a second), on the offscreen platform: percent of one core over SECONDS after a settling
# period.
# usage: bench/window_dashboard_cpu.sh [BUILD_DIR] [SECONDS]
set -euo pipefail
build=${1:-build/dev}
seconds=${2:-30}
work=$(mktemp -d)
mkdir -p "$work/data"
printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
"$build/src/app/veloran" --demo --replay-delay 1000 --page "${PAGE:-dashboard}" \
    --config-dir "$work/config" --data-dir "$work/data" 2>/dev/null &
pid=$!
trap 'kill $pid 2>/dev/null; wait $pid 2>/dev/null; rm -rf "$work"' EXIT
ticks() { awk '{ print $14 + $15 }' "/proc/$pid/stat"; }
sleep 5
before=$(ticks)
sleep "$seconds"
after=$(ticks)
awk -v t=$((after - before)) -v hz="$(getconf CLK_TCK)" -v s="$seconds" -v page="${PAGE:-dashboard}" \
    'BEGIN { printf "%s page fed at 1 Hz: %.2f %% of one core over %d s\n", page, 100 * t / hz / s, s }'
