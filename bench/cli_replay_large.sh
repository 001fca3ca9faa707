#!/usr/bin/env bash
# Whole-process time of `veloran-cli replay FILE --delay 0 --record OUT` on the generated
# 1.4-million-line log: reader thread, hand-over, parser, recording rules and the log file.
# usage: bench/cli_replay_large.sh [BUILD_DIR] [RUNS]
set -euo pipefail
build=${1:-build/dev}
runs=${2:-3}
log=$build/large.nmea
out=$build/large-recorded.nmea
if [ ! -s "$log" ]; then
    "$build/tools/veloran-nmea-gen" --epochs 205000 --output "$log"
fi
echo "log: $(wc -l <"$log") lines, $(($(stat -c %s "$log") / 1000000)) MB"
cat "$log" >/dev/null
TIMEFORMAT=%R
times=()
for _ in $(seq "$runs"); do
    # Its own stderr (it says when it replaces the last run's OUT) stays out of the timings.
    times+=("$({ time "$build/src/cli/veloran-cli" replay "$log" --delay 0 --record "$out" \
        >/dev/null 2>"$build/large-replay.err"; } 2>&1)")
done
cmp -s "$log" "$out" && echo "recorded log is byte-identical to the input" || echo "recorded log DIFFERS"
rm -f "$out"
printf '%s\n' "${times[@]}" | awk -v runs="$runs" \
    'NR == 1 || $1 < best { best = $1 } END { printf "veloran-cli replay --delay 0 --record: best of %d runs %.3f s\n", runs, best }'
