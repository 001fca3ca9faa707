#!/usr/bin/env bash
# CPU of the window fed a 10 Hz multi-system receiver (veloran-nmea-gen's all-systems drive,
# 25-40 satellites in view, replayed one epoch every 100 ms), page by page, side by side: every
# thread's time on a CPU over SECONDS after a settling period, as % of one core, and the X
# server's share of drawing it. On a real X server (Xvfb, installed when missing) unless
# QT_QPA_PLATFORM=offscreen is set. NIGHT=1 measures the red night palette; SIZE the screen;
# PAGES the pages.
# usage: bench/window_pages_10hz_cpu.sh [BUILD_DIR] [SECONDS]
set -euo pipefail
build=${1:-build/dev}
seconds=${2:-20}
settle=5
size=${SIZE:-1280x800}
root=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
xpid=
app=
cleanup() {
    [ -n "$app" ] && kill "$app" 2>/dev/null && wait "$app" 2>/dev/null
    [ -n "$xpid" ] && kill "$xpid" 2>/dev/null && wait "$xpid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

log=$work/drive.nmea
"$build/tools/veloran-nmea-gen" --gnss all --epochs $(((settle + seconds) * 10 + 100)) \
    --output "$log"
data=$work/data
mkdir -p "$data"
# The Map page on the town map, following the drive, as a user would have it.
"$build/src/cli/veloran-cli" maps add "$root/resources/maps/city.png" \
    --calibration "$root/resources/maps/city.pgw" --data-dir "$data" >/dev/null

platform=${QT_QPA_PLATFORM:-xcb}
if [ "$platform" = xcb ]; then
    if ! command -v Xvfb >/dev/null; then
        apt-get install -y -q xvfb >/dev/null
    fi
    display=:$((90 + RANDOM % 100))
    Xvfb "$display" -screen 0 "${size}x24" -nolisten tcp 2>/dev/null &
    xpid=$!
    export DISPLAY=$display
    for _ in $(seq 50); do
        [ -e "/tmp/.X11-unix/X${display#:}" ] && break
        sleep 0.1
    done
else
    printf '{ "screens": [ { "name": "s", "x": 0, "y": 0, "width": %s, "height": %s } ] }\n' \
        "${size%x*}" "${size#*x}" >"$work/screen.json"
    platform="offscreen:configfile=$work/screen.json"
fi

# Nanoseconds every thread of a process spent on a CPU.
cpu_ns() {
    local total=0 t
    for t in /proc/"$1"/task/*/schedstat; do
        total=$((total + $(cut -d' ' -f1 "$t" 2>/dev/null || echo 0)))
    done
    echo "$total"
}

for page in ${PAGES:-dashboard map satellites}; do
    config=$work/config-$page
    mkdir -p "$config"
    printf '[Software]\nVeloran\\Dashboard\\NightMode=%s\nVeloran\\Maps\\TrackPosition=1\n' \
        "${NIGHT:-0}" >"$config/veloran.ini"
    QT_QPA_PLATFORM=$platform "$build/src/app/veloran" --replay "$log" --replay-delay 100 \
        --page "$page" --fullscreen --config-dir "$config" --data-dir "$data" \
        >/dev/null 2>&1 &
    app=$!
    sleep "$settle"
    a0=$(cpu_ns "$app")
    x0=0
    [ -n "$xpid" ] && x0=$(cpu_ns "$xpid")
    sleep "$seconds"
    a1=$(cpu_ns "$app")
    x1=0
    [ -n "$xpid" ] && x1=$(cpu_ns "$xpid")
    kill "$app"
    wait "$app" 2>/dev/null || true
    app=
    awk -v a=$((a1 - a0)) -v x=$((x1 - x0)) -v s="$seconds" -v page="$page" \
        -v p="${platform%%:*}" -v size="$size" -v night="${NIGHT:-0}" 'BEGIN {
        printf "%-10s at 10 Hz, %s %s%s: %.2f %% of one core", page, p, size,
               night == 1 ? " night" : "", a / 1e7 / s
        if (p == "xcb") printf " (X server %.2f %%)", x / 1e7 / s
        printf " over %d s\n", s }'
done
