#!/usr/bin/env bash
# The window's track log under the worst: killed (SIGKILL) at ten random moments while it logs a
# replay at full speed, every file is valid GPX 1.1 and holds the points of the full conversion
# from the start on, none changed or missing in between; on a full disk (a 1 MB tmpfs in a mount
# namespace of the test's own) the log stops with its message and the file stays valid.
# usage: track_log_window.sh VELORAN VELORAN_CLI DEMO_LOG SCHEMA WORK_DIR
set -euo pipefail
app=$1 cli=$2 demo=$3 schema=$4 work=$5
command -v xmllint >/dev/null || { echo "FAIL: xmllint is not installed (libxml2-utils)"; exit 1; }
rm -rf "$work"
mkdir -p "$work"
export QT_QPA_PLATFORM=offscreen
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# The demo drive 200 times over: about 400,000 lines, seconds of work at full speed.
for _ in $(seq 200); do grep '^\$' "$demo"; done >"$work/long.nmea"
"$cli" track "$work/long.nmea" --gpx "$work/full.gpx" --every 0 >/dev/null
gpx_shape="$(cd "$(dirname "$0")" && pwd)/gpx_shape.py"
shape() { python3 "$gpx_shape" "$1"; }
shape "$work/full.gpx" >"$work/full.shape"

settings() { # DIR: track log on, replays too, every fix
    mkdir -p "$1"
    printf '[Software]\nVeloran\\TrackLog=1\nVeloran\\TrackLogReplays=1\nVeloran\\TrackLogRate=0\n' \
        >"$1/veloran.ini"
}

# A cut-off file: valid, and its points the full conversion's first ones.
check_file() { # NAME FILE
    local name=$1 file=$2
    xmllint --noout --schema "$schema" "$file" 2>"$work/$name.xmllint" ||
        { fail "$name: not valid GPX 1.1: $(head -3 "$work/$name.xmllint")"; return; }
    shape "$file" >"$work/$name.shape"
    local lines
    lines=$(wc -l <"$work/$name.shape")
    cmp -s "$work/$name.shape" <(head -n "$lines" "$work/full.shape") ||
        fail "$name: its points are not the first ones of the conversion"
    echo "$name: $(grep -c '<trkpt' "$file" || true) points, valid"
}

with_points=0
for run in $(seq 10); do
    dir=$work/kill$run
    settings "$dir/config"
    "$app" --replay "$work/long.nmea" --replay-delay 0 --config-dir "$dir/config" \
        --data-dir "$dir/data" 2>/dev/null &
    pid=$!
    # 0.2 to 1.2 s: from before the first point to well into the replay.
    sleep "$(awk -v r="$RANDOM" 'BEGIN { printf "%.3f", 0.2 + r / 32768 }')"
    kill -KILL "$pid"
    wait "$pid" 2>/dev/null || true
    files=("$dir"/data/Tracks/*.gpx)
    if [ ! -e "${files[0]}" ]; then
        echo "kill $run: killed before the first point"
        continue
    fi
    [ "${#files[@]}" -eq 1 ] || fail "kill $run: ${#files[@]} track files, expected one"
    check_file "kill$run" "${files[0]}"
    grep -q '<trkpt' "${files[0]}" && with_points=$((with_points + 1))
done
[ "$with_points" -ge 5 ] || fail "only $with_points of 10 killed runs had written points"

# A full disk: the data folder on a 1 MB tmpfs, which exists only in the child's namespace, so
# the file is copied out before it goes.
if unshare -rm true 2>/dev/null; then
    settings "$work/full-config"
    mkdir -p "$work/fullfs"
    status=0
    unshare -rm bash -c '
        mount -t tmpfs -o size=1m tmpfs "$1" || exit 77
        "$2" --replay "$3" --replay-delay 0 --quit-after-replay --config-dir "$4" \
            --data-dir "$1/data" 2>"$5"
        cp "$1"/data/Tracks/*.gpx "$6"' _ "$work/fullfs" "$app" "$work/long.nmea" \
        "$work/full-config" "$work/full.err" "$work/diskfull.gpx" || status=$?
    if [ "$status" -eq 77 ]; then
        echo "disk full: skipped, no tmpfs mount in a user namespace here"
    else
        grep -q 'Failed to write the track log; it has stopped.' "$work/full.err" ||
            fail "disk full: no message: $(head -5 "$work/full.err")"
        grep -q 'No space left on device' "$work/full.err" || fail "disk full: no reason given"
        [ -s "$work/diskfull.gpx" ] || fail "disk full: no file"
        check_file diskfull "$work/diskfull.gpx"
        grep -q '<trkpt' "$work/diskfull.gpx" || fail "disk full: no point before the disk filled"
        grep -q 'TrackLog=0' "$work/full-config/veloran.ini" || fail "disk full: track log left on"
    fi
else
    echo "disk full: skipped, no user namespaces here"
fi

[ "$failures" -eq 0 ] || exit 1
echo "ok"
