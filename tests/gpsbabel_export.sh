#!/usr/bin/env bash
# Exported GPX read by another program: gpsbabel must list every waypoint with its name and
# position, special characters and non-Latin scripts included. Exit 77 (skipped) without it.
# usage: gpsbabel_export.sh VELORAN_CLI SAMPLES_DIR WORK_DIR
set -euo pipefail
cli=$1 samples=$2 work=$3
command -v gpsbabel >/dev/null || { echo "gpsbabel not installed"; exit 77; }
rm -rf "$work"
mkdir -p "$work"

"$cli" waypoints import "$samples/names_unicode.gpx" "$samples/loc_geocaching.loc" \
    "$samples/gpx11_namespace.gpx" --db "$work/db.wdb" >/dev/null
"$cli" waypoints export "$work/out.gpx" --db "$work/db.wdb" >/dev/null
gpsbabel -i gpx -f "$work/out.gpx" -o unicsv -F "$work/out.csv"

# Each line of gpsbabel's CSV starts with these columns (then the description); quotes doubled.
expected=(
    'No,Latitude,Longitude,Name'
    '1,35.658581,139.745433,"東京タワー"'
    '2,31.776719,35.234508,"הכותל המערבי"'
    '3,27.175015,78.042155,"ताज महल"'
    $'4,40.700000,-74.000000,"Tom & Jerry\'s <""Café"">"'
    '5,51.234500,-1.987650,"Old Mill Cache by X"'
    '6,-12.500000,130.800000,"Bridge & Tunnel <Multi>"'
    '7,52.516275,13.377704,"Brandenburg Gate"'
    '8,52.518600,13.408100,"Museum Island"'
)
mapfile -t actual <"$work/out.csv"
if [ "${#actual[@]}" -ne "${#expected[@]}" ]; then
    echo "FAIL: gpsbabel lists ${#actual[@]} lines, expected ${#expected[@]}:"
    cat "$work/out.csv"
    exit 1
fi
for i in "${!expected[@]}"; do
    case ${actual[$i]} in
    "${expected[$i]}" | "${expected[$i]},"*) ;;
    *)
        echo "FAIL: gpsbabel line $((i + 1)) is '${actual[$i]}', expected '${expected[$i]}...'"
        exit 1
        ;;
    esac
done
echo "ok: gpsbabel lists all $((${#expected[@]} - 1)) waypoints"
