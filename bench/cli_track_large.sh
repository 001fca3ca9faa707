#!/usr/bin/env bash
# Whole-process time of `veloran-cli track --gpx` on the generated 1.4-million-line log (the one
# bench/cli_parse_large.sh makes), GPS only and with all satellite systems; both should stay
# under 1 s.
# usage: bench/cli_track_large.sh [BUILD_DIR] [RUNS]
set -euo pipefail
build=${1:-build/dev}
runs=${2:-5}
log=$build/large.nmea
if [ ! -s "$log" ]; then
    "$build/tools/veloran-nmea-gen" --epochs 205000 --output "$log"
fi
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
echo "log: $(wc -l <"$log") lines, $(($(stat -c %s "$log") / 1000000)) MB"
cat "$log" >/dev/null # page cache, so the runs time the program, not the disk
# Real and CPU seconds: on a loaded machine the CPU time tells what the program costs.
TIMEFORMAT="%R %U %S"
best() {
    local times=() _
    for _ in $(seq "$runs"); do
        times+=("$({ time "$build/src/cli/veloran-cli" track "$log" --gpx "$out/large.gpx" \
            --gnss "$1" >/dev/null; } 2>&1)")
    done
    printf '%s\n' "${times[@]}" |
        awk 'NR == 1 || $1 < best { best = $1; cpu = $2 + $3 } END { print best, cpu }'
}
read -r gps gps_cpu < <(best gps)
read -r all all_cpu < <(best all)
echo "$("$build/src/cli/veloran-cli" track "$log" --gpx "$out/large.gpx"), $(($(stat -c %s "$out/large.gpx") / 1000000)) MB of GPX"
awk -v runs="$runs" -v gps="$gps" -v all="$all" -v gc="$gps_cpu" -v ac="$all_cpu" 'BEGIN {
    printf "veloran-cli track --gpx, best of %d runs: --gnss gps %.3f s (CPU %.3f s), --gnss all %.3f s (CPU %.3f s); target: under 1 s\n",
        runs, gps, gc, all, ac
    exit (gps < 1 && all < 1) ? 0 : 1 }'
