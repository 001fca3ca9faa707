#!/usr/bin/env bash
# The waypoint and map databases among other processes and odd files: racing imports, exports
# onto databases and devices, text in a database's place, limits, impossible coordinates, a
# closed standard output, stale temporary files. Each section says "ok: ..." or what went
# wrong, and exits 1.
# usage: database_safety.sh VELORAN_CLI MAP_IMAGE WORK_DIR
set -euo pipefail
cli=$1 image=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
work=$(realpath "$work")
export QT_QPA_PLATFORM=offscreen
cd "$work"

fail() {
    echo "FAIL: $*"
    exit 1
}
count() { "$cli" waypoints list "$@" | wc -l; }
gpx_of() { # NAME COUNT: a GPX of COUNT waypoints NAME-1...
    local i
    {
        echo '<gpx>'
        for ((i = 1; i <= $2; i++)); do echo "<wpt lat=\"1.$i\" lon=\"2\"><name>$1-$i</name></wpt>"; done
        echo '</gpx>'
    } >"$1.gpx"
}

# Imports racing on one database: every one is kept.
for n in 1 2 3 4 5 6 7 8; do gpx_of "r$n" 25; done
pids=()
for n in 1 2 3 4 5 6 7 8; do
    "$cli" waypoints import "r$n.gpx" --db race.wdb >/dev/null &
    pids+=($!)
done
for pid in "${pids[@]}"; do wait "$pid" || fail "an import failed"; done
[ "$(count --db race.wdb)" -eq 200 ] || fail "racing imports kept $(count --db race.wdb) of 200"
for n in 1 2 3 4 5 6 7 8; do
    [ "$("$cli" waypoints list --db race.wdb | grep -c "^r$n-")" -eq 25 ] || fail "import r$n lost"
done
# The same for maps.
pids=()
for n in 1 2 3 4 5 6; do
    "$cli" maps add "$image" --name "m$n" --db maps.gdb >/dev/null &
    pids+=($!)
done
for pid in "${pids[@]}"; do wait "$pid" || fail "a map add failed"; done
[ "$("$cli" maps list --db maps.gdb | wc -l)" -eq 6 ] || fail "racing map adds lost some"
echo "ok: racing imports and map adds all kept"

# A lock file another user made does not stop an ordinary user's save.
# The folder is one of our own under /tmp: the checkout may lie below a folder only root may
# enter, and the database's lock is found by its full path.
if command -v setpriv >/dev/null && [ "$(id -u)" -eq 0 ]; then
    shared=$(mktemp -d /tmp/veloran-shared.XXXXXX)
    trap 'rm -rf "$shared"' EXIT
    chmod 0777 "$shared"
    cp r2.gpx "$shared/r2.gpx"
    chmod 0644 "$shared/r2.gpx"
    "$cli" waypoints import r1.gpx --db "$shared/db.wdb" >/dev/null
    chmod 0666 "$shared/db.wdb"
    setpriv --reuid=65534 --regid=65534 --clear-groups \
        "$cli" waypoints import "$shared/r2.gpx" --db "$shared/db.wdb" >/dev/null ||
        fail "an ordinary user's import after root's"
    [ "$(count --db "$shared/db.wdb")" -eq 50 ] || fail "the ordinary user's import was lost"
    echo "ok: the lock serves every user"
fi

# Exports onto the database by any name, onto a FIFO, a device node and a folder: refused.
mkdir -p data
gpx_of e 3
"$cli" waypoints import e.gpx --data-dir data >/dev/null
cp data/Waypoints.wdb before.wdb
ln -s data/Waypoints.wdb link.gpx
ln data/Waypoints.wdb hard.gpx
mkfifo fifo.gpx
# A device node of our own (a null device), where the system lets us make one.
devices=()
if mknod null c 1 3 2>/dev/null; then devices=(null); fi
for target in data/Waypoints.wdb link.gpx hard.gpx fifo.gpx "${devices[@]}" data \
    data/MapInfo.gdb data/Worldpoints.wdb; do
    rc=0
    "$cli" waypoints export "$target" --data-dir data >out 2>err || rc=$?
    [ $rc -eq 1 ] || fail "export onto $target: exit status $rc"
    grep -q "cannot write" err || fail "export onto $target: $(cat err)"
done
cmp -s before.wdb data/Waypoints.wdb || fail "the database changed"
[ -p fifo.gpx ] || fail "the FIFO was replaced"
[ "${#devices[@]}" -eq 0 ] || [ -c null ] || fail "the device node was replaced"
[ ! -e data/MapInfo.gdb ] && [ ! -e data/Worldpoints.wdb ] || fail "a database was made"
# A --db file is protected too.
if "$cli" waypoints export hard.gpx --db before.wdb >/dev/null 2>&1; then :; fi
cmp -s before.wdb data/Waypoints.wdb || fail "export through a hard link changed the database"
echo "ok: exports refuse databases, FIFOs, device nodes and folders"

# A GPX in the database's place is damaged, never read as waypoints nor saved over.
mkdir -p renamed
cp e.gpx renamed/Waypoints.wdb
if "$cli" waypoints list --data-dir renamed >out 2>err; then fail "a GPX listed as a database"; fi
[ ! -s out ] || fail "a GPX read as waypoints: $(head -3 out)"
grep -q "not a waypoint database" err || fail "no damage reported: $(cat err)"
if "$cli" waypoints import e.gpx --data-dir renamed >/dev/null 2>&1; then fail "imported into a GPX"; fi
cmp -s e.gpx renamed/Waypoints.wdb || fail "the GPX was saved over"
echo "ok: a GPX named Waypoints.wdb is reported damaged"

# Limits: an import that would pass a reader's limit is refused whole, early.
{
    echo '<gpx>'
    for ((i = 0; i < 1000; i++)); do printf '<wpt/>%.0s' {1..1000}; echo; done
    echo '</gpx>'
} >million.gpx
"$cli" waypoints import million.gpx --db limit.wdb >out || fail "a million waypoints refused"
cp limit.wdb limit.before
if "$cli" waypoints import e.gpx --db limit.wdb >out 2>err; then fail "more than a million imported"; fi
grep -q "more than a reader takes" err || fail "limit message: $(cat err)"
cmp -s limit.wdb limit.before || fail "a refused import changed the database"
# 64 MB of empty elements: refused before the tree is built.
{
    echo '<gpx>'
    (yes '<wpt/><wpt/><wpt/><wpt/><wpt/><wpt/><wpt/><wpt/><wpt/><wpt/>' || true) | head -c $((63 << 20))
    echo '</gpx>'
} >empties.gpx
if "$cli" waypoints import empties.gpx --db empty.wdb >out 2>err; then fail "10 million imported"; fi
grep -q "more than a reader takes" err || fail "limit message: $(cat err)"
[ ! -e empty.wdb ] || fail "a refused import wrote a database"
echo "ok: imports beyond the limits are refused whole"

# Impossible coordinates: skipped and counted; JSON stays JSON; the export reads back.
cat >bad.gpx <<'GPX'
<gpx><wpt lat="47.5" lon="8.25"><name>good</name></wpt><wpt lat="nan" lon="1"><name>n</name></wpt>
<wpt lat="1" lon="inf"/><wpt lat="1e400" lon="1"/><wpt lat="95" lon="1"/><wpt lat="x" lon="3"><name>zero</name></wpt></gpx>
GPX
"$cli" waypoints import bad.gpx --db coords.wdb >out
grep -qx "2 waypoint(s) successfully imported." out || fail "import report: $(cat out)"
grep -qx "4 waypoint(s) with impossible coordinates skipped." out || fail "skip report: $(cat out)"
# A database that already holds a NaN longitude and an infinite radius (an older version).
printf '\x02\x00' >stored.wdb
printf '\xff\xfe\xff\x01n\x00\x00\x00\x00\x00\x00\x00\xf8\x7f\x00\x00\x00\x00\x00\x00\xf0\x3f' >>stored.wdb
printf '\x00\x00\x00\x00\x00\x00\xf0\x7f\xff\xfe\xff\x00\x00\x00\x00\x00\x00\x00\x00\x00' >>stored.wdb
printf '\xff\xfe\xff\x01g\x00\x00\x00\x00\x00\x00\x00\x20\x40\x00\x00\x00\x00\x00\xc0\x47\x40' >>stored.wdb
printf '\x00\x00\x00\x00\x00\x00\xf0\x3f\xff\xfe\xff\x00\x00\x00\x00\x00\x00\x00\x00\x00' >>stored.wdb
"$cli" waypoints list --json --db stored.wdb >json || fail "listing the stored database"
! grep -qiE 'nan|infinity' json || fail "JSON with NaN: $(cat json)"
grep -q '"name":"n","lat":1.000000,"lon":null,"radius":null' json || fail "JSON: $(cat json)"
if command -v python3 >/dev/null; then
    python3 -c 'import json,sys; [json.loads(l) for l in open(sys.argv[1])]' json ||
        fail "not JSON: $(cat json)"
fi
"$cli" waypoints list --format utm --db stored.wdb >utm
! grep -q -- '-2147483' utm || fail "UTM zone of nothing: $(cat utm)"
grep -q '(no position)' utm || fail "UTM: $(cat utm)"
"$cli" waypoints export stored.gpx --db stored.wdb >out
grep -qx "1 waypoints successfully exported." out || fail "export report: $(cat out)"
grep -qx "1 waypoint(s) with impossible coordinates skipped." out || fail "export: $(cat out)"
! grep -qi 'nan\|inf' stored.gpx || fail "an export holds NaN: $(cat stored.gpx)"
if command -v gpsbabel >/dev/null; then
    gpsbabel -i gpx -f stored.gpx -o csv -F babel.csv || fail "gpsbabel refused the export"
    grep -qx '47.50000, 08.00000, g' babel.csv || fail "gpsbabel read: $(cat babel.csv)"
    "$cli" waypoints export coords.gpx --db coords.wdb >/dev/null
    gpsbabel -i gpx -f coords.gpx -o csv -F - | grep -c . | grep -qx 2 || fail "gpsbabel: coords"
fi
echo "ok: impossible coordinates are skipped and said; JSON and exports stay valid"

# A standard output that takes nothing stops import and map add before they change anything.
cp e.gpx closed.gpx
"$cli" waypoints import e.gpx --db closed.wdb >/dev/null
cp closed.wdb closed.before
cp maps.gdb maps.before
rc_of_closed() { # runs the command with a standard output whose reader is gone
    (
        trap '' PIPE
        { sleep 0.3; "$@" 2>/dev/null; echo $? >rc; } | true
    )
    cat rc
}
[ "$(rc_of_closed "$cli" waypoints import closed.gpx --db closed.wdb)" -eq 1 ] ||
    fail "import with a closed output: status $(cat rc)"
cmp -s closed.wdb closed.before || fail "import with a closed output changed the database"
[ "$(rc_of_closed "$cli" maps add "$image" --db maps.gdb)" -eq 1 ] ||
    fail "map add with a closed output: status $(cat rc)"
cmp -s maps.gdb maps.before || fail "map add with a closed output changed the database"
echo "ok: a closed standard output changes nothing"

# Temporary files of an interrupted save go with the next save; a young one stays.
touch -d '5 minutes ago' .closed.wdb.Ab12Cd .closed.wdb.Zz99zz
touch .closed.wdb.Young1 .closed.wdb.Ab12Cde
"$cli" waypoints import e.gpx --db closed.wdb >/dev/null
[ ! -e .closed.wdb.Ab12Cd ] && [ ! -e .closed.wdb.Zz99zz ] || fail "stale temporaries left"
[ -e .closed.wdb.Young1 ] && [ -e .closed.wdb.Ab12Cde ] || fail "a file not ours was removed"
echo "ok: stale temporary files are removed"
