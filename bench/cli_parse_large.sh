#!/usr/bin/env bash
# Whole-process time of `veloran-cli parse --summary` on a generated 1.4-million-line log.
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
times=()
for _ in $(seq "$runs"); do
    times+=("$({ time "$build/src/cli/veloran-cli" parse --summary "$log" >/dev/null; } 2>&1)")
done
printf '%s\n' "${times[@]}" | awk -v runs="$runs" \
    'NR == 1 || $1 < best { best = $1 } END { printf "veloran-cli parse --summary: best of %d runs %.3f s\n", runs, best }'
