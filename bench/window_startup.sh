#!/usr/bin/env bash
# Start of `veloran` to its first painted window, with empty settings, on the offscreen platform
# (a real display adds its own connection time). Prints the median of RUNS.
# usage: bench/window_startup.sh [BUILD_DIR] [RUNS]
set -euo pipefail
build=${1:-build/dev}
runs=${2:-11}
work=$(mktemp -d)
mkdir -p "$work/data"
printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
trap 'rm -rf "$work"' EXIT
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
ages=()
for i in $(seq "$runs"); do
    line=$("$build/src/app/veloran" --startup-probe --config-dir "$work/config$i" \
        --data-dir "$work/data" 2>/dev/null)
    ages+=("$(sed -n 's/.*process age \([0-9.]*\) ms/\1/p' <<<"$line")")
done
echo "last run: $line"
printf '%s\n' "${ages[@]}" | sort -n | awk -v runs="$runs" \
    '{ a[NR] = $1 } END { printf "start to first paint (process age): median of %d runs %.0f ms\n", runs, a[int((NR + 1) / 2)] }'
