#!/usr/bin/env bash
# CPU the window spends following the demo drive replayed at 4 Hz (--replay-delay 250) on the
# Map page showing a ten-level MBTiles (bench/make_bench_tiles.sh), on the offscreen platform:
# percent of one core over SECONDS after a settling period.
# usage: bench/window_tile_follow_cpu.sh MBTILES [BUILD_DIR] [SECONDS]
set -euo pipefail
mbtiles=$(realpath "$1")
build=${2:-build/dev}
seconds=${3:-30}
work=$(mktemp -d)
mkdir -p "$work/data" "$work/config"
printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
"$build/bench/veloran_bench_tile_map" --write-database "$work/data" "$mbtiles"
printf '[Software]\nVeloran\\Maps\\TrackPosition=1\n' >"$work/config/veloran.ini"
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
"$build/src/app/veloran" --demo --replay-delay 250 --page map \
    --config-dir "$work/config" --data-dir "$work/data" 2>/dev/null &
pid=$!
trap 'kill $pid 2>/dev/null; wait $pid 2>/dev/null; rm -rf "$work"' EXIT
ticks() { awk '{ print $14 + $15 }' "/proc/$pid/stat"; }
sleep 5
before=$(ticks)
sleep "$seconds"
after=$(ticks)
awk -v t=$((after - before)) -v hz="$(getconf CLK_TCK)" -v s="$seconds" \
    'BEGIN { printf "map page on MBTiles following a 4 Hz replay: %.2f %% of one core over %d s\n", 100 * t / hz / s, s }'
