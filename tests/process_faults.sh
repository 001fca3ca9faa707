#!/usr/bin/env bash
# Replay and recording among other processes: a second recorder, signals, a file size limit,
# FIFOs. Each section says "ok: ..." or what went wrong, and exits 1.
# usage: process_faults.sh VELORAN_CLI VELORAN DEMO_LOG WORK_DIR
set -euo pipefail
cli=$1 app=$2 demo=$3 work=$4
rm -rf "$work"
mkdir -p "$work/data"
printf '\0\0' >"$work/data/Waypoints.wdb" # an empty waypoint database
work=$(realpath "$work")
export QT_QPA_PLATFORM=offscreen
window=(--config-dir "$work/config" --data-dir "$work/data")

started=()
cleanup() {
    for pid in "${started[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
}
trap cleanup EXIT

fail() {
    echo "FAIL: $*"
    exit 1
}
now_ms() {
    local us=${EPOCHREALTIME//[!0-9]/}
    echo $((us / 1000))
}
# Polls a condition; a loaded machine gets 20 s.
wait_until() {
    local deadline=$(($(now_ms) + 20000))
    until "$@"; do
        [ "$(now_ms)" -lt "$deadline" ] || return 1
        sleep 0.02
    done
}
has_bytes() { [ -f "$1" ] && [ "$(stat -c %s "$1")" -ge "$2" ]; }
# The file is open in the process, and its SIGTERM handler is in place.
holds_open() {
    local fd caught
    caught=$(awk '/^SigCgt:/ { print $2 }' "/proc/$1/status" 2>/dev/null) || return 1
    [ $((0x$caught >> 14 & 1)) -eq 1 ] || return 1
    for fd in /proc/"$1"/fd/*; do
        [ "$(readlink "$fd" 2>/dev/null)" = "$2" ] && return 0
    done
    return 1
}
# A non-empty start of the demo log that ends at a line end.
check_whole_prefix() {
    local size
    size=$(stat -c %s "$1")
    [ "$size" -gt 0 ] || fail "$2: nothing recorded"
    [ "$(tail -c 1 "$1" | od -An -c | tr -d ' ')" = '\n' ] || fail "$2: the last line is cut"
    cmp -s "$1" <(head -c "$size" "$demo") || fail "$2: the recording is not the replayed start"
}

# A second recording onto a file in use, from the CLI and from the window: refused, and the
# first one's file is still all it replayed. The first replays a FIFO fed from here, so it is
# held mid-replay for as long as the refusals take.
feed=$work/feed.fifo
shared=$work/shared.nmea
mkfifo "$feed"
"$cli" replay "$feed" --record "$shared" 2>"$work/first.err" &
first=$!
started+=("$first")
exec 3<>"$feed"
head -n 100 "$demo" >&3
wait_until has_bytes "$shared" 1 || fail "second recorder: the first recording did not start"
status=0
"$cli" replay "$demo" --record "$shared" 2>"$work/second.err" 3>&- || status=$?
[ "$status" -eq 1 ] || fail "second recorder: the CLI exited $status, expected 1"
grep -q 'in use by another recording' "$work/second.err" ||
    fail "second recorder: the CLI said: $(cat "$work/second.err")"
status=0
timeout 20 "$app" --replay "$demo" --replay-delay 0 --record "$shared" --quit-after-replay \
    "${window[@]}" 2>"$work/window.err" 3>&- || status=$?
[ "$status" -eq 1 ] || fail "second recorder: the window exited $status, expected 1"
grep -q 'in use by another recording' "$work/window.err" ||
    fail "second recorder: the window said: $(cat "$work/window.err")"
tail -n +101 "$demo" | timeout 20 cat >&3 ||
    fail "second recorder: the first replay stopped reading"
exec 3>&-
status=0
wait "$first" || status=$?
[ "$status" -eq 0 ] ||
    fail "second recorder: the first recording exited $status ($(cat "$work/first.err"))"
cmp -s "$shared" "$demo" || fail "second recorder: the first recording is not the replayed log"
echo "ok: a second recording (CLI, window) is refused; the first one is whole"

# Signals end a replay between its paused epochs, promptly, with whole lines recorded.
for signal in TERM INT HUP; do
    out=$work/signal-$signal.nmea
    "$cli" replay "$demo" --delay 50 --record "$out" 2>"$work/signal.err" &
    pid=$!
    started+=("$pid")
    wait_until has_bytes "$out" 1 || fail "SIG$signal: the replay recorded nothing"
    sent=$(now_ms)
    kill -s "$signal" "$pid"
    status=0
    wait "$pid" || status=$?
    took=$(($(now_ms) - sent))
    expected=$((128 + $(kill -l "$signal")))
    [ "$status" -eq "$expected" ] || fail "SIG$signal: exit $status, expected $expected"
    grep -q "replay ended by $signal" "$work/signal.err" ||
        fail "SIG$signal: killed rather than ended: $(cat "$work/signal.err")"
    [ "$took" -lt 2000 ] || fail "SIG$signal: the replay took $took ms to end"
    check_whole_prefix "$out" "SIG$signal"
done
echo "ok: SIGTERM, SIGINT and SIGHUP end a replay with exit 128+signal and whole lines"

# A file size limit (ulimit -f, SIGXFSZ at its default) stops the recording, not the process.
limited() {
    (
        ulimit -f 20
        exec env --default-signal=XFSZ "$@"
    )
}
out=$work/limit-cli.nmea
status=0
limited "$cli" replay "$demo" --record "$out" 2>"$work/limit.err" || status=$?
[ "$status" -eq 1 ] || fail "size limit: the CLI exited $status, expected 1"
grep -qF "recording to '$out' stopped: File too large" "$work/limit.err" ||
    fail "size limit: the CLI said: $(cat "$work/limit.err")"
check_whole_prefix "$out" "size limit, CLI"
out=$work/limit-window.nmea
status=0
limited timeout 20 "$app" --replay "$demo" --replay-delay 0 --record "$out" --quit-after-replay \
    "${window[@]}" 2>"$work/limit.err" || status=$?
[ "$status" -eq 1 ] || fail "size limit: the window exited $status, expected 1"
grep -q 'veloran: ERROR: Failed to write the log file' "$work/limit.err" ||
    fail "size limit: the window said: $(cat "$work/limit.err")"
check_whole_prefix "$out" "size limit, window"
echo "ok: a file size limit stops the recording at a line end, exit 1"

# A FIFO as the replayed log: read to its end while written, and a replay waiting on a FIFO
# nobody writes still ends at once on SIGTERM.
fifo=$work/replay.fifo
mkfifo "$fifo"
write_fifo() {
    timeout 20 sh -c 'cat "$1" >"$2"' sh "$demo" "$fifo" &
    started+=("$!")
}
write_fifo
status=0
timeout 20 "$cli" replay "$fifo" --summary >"$work/summary.txt" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "FIFO: the CLI exited $status ($(cat "$work/summary.txt"))"
grep -Eq '^lines +2063$' "$work/summary.txt" ||
    fail "FIFO: the CLI counted: $(cat "$work/summary.txt")"

write_fifo
status=0
timeout 20 "$app" --replay "$fifo" --replay-delay 0 --record "$work/fifo.nmea" --quit-after-replay \
    "${window[@]}" 2>"$work/fifo.err" || status=$?
[ "$status" -eq 0 ] || fail "FIFO: the window exited $status ($(cat "$work/fifo.err"))"
cmp -s "$work/fifo.nmea" "$demo" || fail "FIFO: the window's recording is not the log written"

for run in cli window; do
    if [ "$run" = cli ]; then
        expected=143
        "$cli" replay "$fifo" 2>"$work/fifo.err" &
    else
        expected=0
        "$app" --replay "$fifo" "${window[@]}" 2>"$work/fifo.err" &
    fi
    pid=$!
    started+=("$pid")
    wait_until holds_open "$pid" "$fifo" || fail "FIFO, no writer: the $run did not open it"
    sent=$(now_ms)
    kill -s TERM "$pid"
    status=0
    wait "$pid" || status=$?
    took=$(($(now_ms) - sent))
    [ "$status" -eq "$expected" ] ||
        fail "FIFO, no writer: the $run exited $status on SIGTERM, expected $expected" \
            "($(cat "$work/fifo.err"))"
    [ "$run" = window ] || grep -q 'replay ended by TERM' "$work/fifo.err" ||
        fail "FIFO, no writer: the CLI was killed rather than ended: $(cat "$work/fifo.err")"
    [ "$took" -lt 2000 ] || fail "FIFO, no writer: the $run took $took ms to end on SIGTERM"
done
echo "ok: a FIFO replays whole (CLI, window); with no writer SIGTERM ends the wait"
