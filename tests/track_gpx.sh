#!/usr/bin/env bash
# track --gpx: every file validates against the GPX 1.1 schema and gpsbabel reads it; points and
# segments equal an independent count of the log's GGA/RMC epochs with a fix, split at a fix lost
# and at gaps over 10 s: on the demo drive, and on a copy of it with gaps and losses cut in.
# usage: track_gpx.sh VELORAN_CLI DEMO_LOG SCHEMA WORK_DIR
set -euo pipefail
cli=$1 demo=$2 schema=$3 work=$4
command -v xmllint >/dev/null || { echo "FAIL: xmllint is not installed (libxml2-utils)"; exit 1; }
command -v gpsbabel >/dev/null || { echo "FAIL: gpsbabel is not installed"; exit 1; }
rm -rf "$work"
mkdir -p "$work"
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# The demo with a 15 s gap (a new segment), a 6 s one (none), an epoch whose RMC says V and one
# whose GGA alone says quality 0 (each ends a segment).
python3 - "$demo" "$work/lossy.nmea" <<'PY'
import sys
def fix(line, field, value):
    body = line.strip()[1:].split('*')[0].split(',')
    body[field] = value
    body = ','.join(body)
    sum = 0
    for c in body:
        sum ^= ord(c)
    return '$%s*%02X\n' % (body, sum)
out, epoch, time = [], -1, None
for line in open(sys.argv[1]):
    if line.startswith('$GPGGA'):
        epoch += 1
    if 40 <= epoch < 55 or 100 <= epoch < 106:
        continue
    if epoch == 200 and line.startswith('$GPRMC'):
        line = fix(line, 2, 'V')
    if epoch == 250 and line.startswith('$GPGGA'):
        line = fix(line, 6, '0')
    out.append(line)
open(sys.argv[2], 'w').writelines(out)
PY

# The count: points and segments at one point per EVERY seconds (0: every fix).
count() {
    python3 - "$1" "$2" <<'PY'
import sys
every = float(sys.argv[2])
epochs = []  # [time, fix]
for line in open(sys.argv[1], errors='replace'):
    line = line.strip()
    if not line.startswith('$') or '*' not in line:
        continue
    body, _, sum = line[1:].partition('*')
    check = 0
    for c in body:
        check ^= ord(c)
    if sum[:2].upper() != '%02X' % check:
        continue
    f = body.split(',')
    if f[0][2:] not in ('GGA', 'RMC') or len(f) < 7:
        continue
    ok = f[6] != '0' if f[0][2:] == 'GGA' else f[2] == 'A'
    t = f[1]
    seconds = int(t[0:2]) * 3600 + int(t[2:4]) * 60 + float(t[4:])
    if epochs and epochs[-1][0] == seconds:
        epochs[-1][1] = epochs[-1][1] and ok
    else:
        epochs.append([seconds, ok])
points = segments = 0
last_fix = last_written = None
for seconds, ok in epochs:
    if not ok:
        last_fix = None
        continue
    if last_fix is None or seconds - last_fix > 10 or seconds < last_fix:
        segments += 1
        points += 1
        last_written = seconds
    elif seconds - last_written >= every:
        points += 1
        last_written = seconds
    last_fix = seconds
print(points, segments)
PY
}

check() { # LOG NAME ARGS...
    local log=$1 name=$2
    shift 2
    local out="$work/$name.gpx" every=1
    [ "${1:-}" = --every ] && every=$2
    local said
    said=$("$cli" track "$log" --gpx "$out" "$@") || { fail "$name: track failed"; return; }
    xmllint --noout --schema "$schema" "$out" 2>"$work/$name.xmllint" ||
        fail "$name: not valid GPX 1.1: $(cat "$work/$name.xmllint")"
    gpsbabel -i gpx -f "$out" -o unicsv -F - >/dev/null || fail "$name: gpsbabel refuses it"
    local listed
    listed=$(gpsbabel -t -i gpx -f "$out" -o unicsv -F - | tail -n +2 | wc -l)
    local points segments
    read -r points segments < <(count "$log" "$every")
    local gpx_segments
    gpx_segments=$(grep -c '<trkseg>' "$out" || true)
    [ "$said" = "$points points in $segments segments" ] ||
        fail "$name: '$said', the log holds $points points in $segments segments"
    [ "$listed" -eq "$points" ] || fail "$name: gpsbabel lists $listed points, expected $points"
    [ "$gpx_segments" -eq "$segments" ] || fail "$name: $gpx_segments segments, expected $segments"
    echo "$name: $said"
}

check "$demo" demo
check "$demo" demo-gps --gnss gps
check "$demo" demo-every5 --every 5
check "$work/lossy.nmea" lossy
check "$work/lossy.nmea" lossy-every5 --every 5
grep -q '<trkseg>' "$work/lossy.gpx" || fail "lossy: no segment"
[ "$(read -r p s < <(count "$work/lossy.nmea" 1); echo "$s")" -ge 4 ] ||
    fail "lossy: the cut-in losses make fewer than 4 segments"

# A file that cannot be written: exit 1 and the reason.
if "$cli" track "$demo" --gpx "$work/no/such/dir.gpx" >/dev/null 2>"$work/err"; then
    fail "track into a missing folder succeeded"
fi
grep -q 'No such file or directory' "$work/err" || fail "no reason given: $(cat "$work/err")"

gpx_shape="$(cd "$(dirname "$0")" && pwd)/gpx_shape.py"
shape() { python3 "$gpx_shape" "$1"; }

# Killed at every write of the file in turn (strace injects SIGKILL as the Nth pwrite starts):
# each time the file left is valid GPX 1.1, with the conversion's first points.
if command -v strace >/dev/null; then
    # LeakSanitizer cannot run under ptrace and would fail every traced run of an instrumented
    # build.
    export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
    shape "$work/lossy.gpx" >"$work/lossy.shape"
    writes=$(strace -f -c -e trace=pwrite64 "$cli" track "$work/lossy.nmea" --gpx "$work/k.gpx" \
        2>&1 >/dev/null | awk '$NF == "pwrite64" { print $4 }')
    [ "${writes:-0}" -gt 20 ] || fail "only '${writes:-}' writes counted"
    for n in $(seq 2 "${writes:-0}"); do
        (strace -o /dev/null -e trace=pwrite64 -e inject=pwrite64:signal=KILL:when="$n" \
            "$cli" track "$work/lossy.nmea" --gpx "$work/k.gpx" >/dev/null 2>&1) 2>/dev/null || true
        if ! xmllint --noout --schema "$schema" "$work/k.gpx" 2>/dev/null; then
            fail "killed at write $n: not valid GPX 1.1"
            cp "$work/k.gpx" "$work/killed-$n.gpx"
            continue
        fi
        shape=$(shape "$work/k.gpx")
        [ "$shape" = "$(head -n "$(grep -c . <<<"$shape")" "$work/lossy.shape")" ] ||
            fail "killed at write $n: not the conversion's first points"
    done
    echo "killed at each of the $writes writes: every file valid"
else
    echo "kills at each write: skipped, no strace"
fi

# The log itself as the output: refused, the log untouched.
cp "$demo" "$work/same.nmea"
if "$cli" track "$work/same.nmea" --gpx "$work/same.nmea" >/dev/null 2>"$work/err"; then
    fail "track onto its own log succeeded"
fi
cmp -s "$demo" "$work/same.nmea" || fail "track onto its own log changed the log"

[ "$failures" -eq 0 ] || exit 1
echo "ok"
