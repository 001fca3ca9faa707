#!/usr/bin/env bash
# Whole-process time of `veloran-cli parse --summary` on a generated 1.4-million-line log, read
# GPS only (exactly as designed) and with all satellite systems; the second should stay within
# 1.5 times the first.
# usage: bench/cli_parse_large.sh [BUILD_DIR] [RUNS]
set -euo pipefail
build=${1:-build/dev}
runs=${2:-5}
log=$build/large.nmea
if [ ! -s "$log" ]; then
    "$build/tools/veloran-nmea-gen" --epochs 205000 --output "$log"
fi
echo "log: $(wc -l <"$log") lines, $(($(stat -c %s "$log") / 1000000)) MB"
cat "$log" >/dev/null # page cache, so the runs time the program, not the disk
TIMEFORMAT=%R
best() {
    local times=() _
    for _ in $(seq "$runs"); do
        times+=("$({ time "$build/src/cli/veloran-cli" parse --summary --gnss "$1" "$log" \
            >/dev/null; } 2>&1)")
    done
    printf '%s\n' "${times[@]}" | awk 'NR == 1 || $1 < best { best = $1 } END { print best }'
}
gps=$(best gps)
all=$(best all)
awk -v runs="$runs" -v gps="$gps" -v all="$all" 'BEGIN {
    printf "veloran-cli parse --summary, best of %d runs: --gnss gps %.3f s, --gnss all %.3f s (%.2fx)\n",
        runs, gps, all, all / gps }'
