#!/usr/bin/env bash
# A program's manual page and bash completion as built: man formats the page without a warning,
# every option and command that --help names is in both, and the completion, driven the way
# bash drives it, completes commands, options, values, file names and source URLs.
# usage: man_completion.sh PROGRAM MAN_PAGE COMPLETION WORK_DIR
set -euo pipefail
export LC_ALL=C
program=$1 page=$(realpath "$2") completion=$(realpath "$3") work=$4
name=$(basename "$program")
rm -rf "$work"
mkdir -p "$work"
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

command -v man >/dev/null || { echo "FAIL: man is not installed (man-db, groff-base)"; exit 1; }
warnings=$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null) || fail "man -l $page failed"
[ -z "$warnings" ] || fail "man warns about $page: $warnings"

# The help texts: the program's, and for the command-line tool each command's too.
export QT_QPA_PLATFORM=offscreen
"$program" --help >"$work/help.main"
commands=()
if [ "$name" = veloran-cli ]; then
    mapfile -t commands < <(sed -n '/^Commands:/,/^$/s/^  \([a-z][a-z]*\).*/\1/p' "$work/help.main")
    [ ${#commands[@]} -ge 5 ] || fail "only ${#commands[@]} commands in veloran-cli --help"
    for c in "${commands[@]}"; do
        "$program" "$c" --help >"$work/help.$c"
    done
fi

# Options as a help text names them: in usage lines and at the start of list entries, not in
# the prose ("the summary of replay --summary" names no option of listen).
help_options() {
    grep -E '^(usage:|  +(veloran|\[|-))' "$1" | grep -oE -- '(^|[][ |])--?[a-zA-Z][a-zA-Z0-9-]*' |
        sed 's/^[][ |]//' | sort -u
}
# The options that take a value: "--replay <FILE>", "--delay MS", "--gnss all|gps".
valued_options() {
    grep -E '^(usage:|  +(veloran|\[|-))' "$1" |
        grep -oE -- '--[a-z][a-z0-9-]* (<[^>]+>|[A-Z][A-Z0-9]*\b|[a-z]+\|[a-z|]+)' |
        cut -d' ' -f1 | sort -u
}

# Each help text's options in its own part of the page: OPTIONS, or the command's section.
roff=$(sed 's/\\-/-/g; s/\\%//g' "$page")
for help in "$work"/help.*; do
    c=${help##*help.}
    if [ "$c" != main ]; then
        heading=".SS $c"
    elif [ "$name" = veloran-cli ]; then
        heading=".SH COMMANDS"
    else
        heading=".SH OPTIONS"
    fi
    section=$(heading=$heading awk '$0 == ENVIRON["heading"] { p = 1; next } /^\.S[SH]/ { p = 0 } p' <<<"$roff")
    [ -n "$section" ] || fail "no section '$heading' in the page"
    for option in $(help_options "$help"); do
        grep -qF -- "\\fB$option\\fR" <<<"$section" || fail "$option of $c missing from its section"
    done
done

bash -n "$completion" || fail "bash -n $completion"

# COMPREPLY for the words given, the last one being completed, in a fresh shell.
complete_words() {
    (
        cd "$work/files"
        # shellcheck disable=SC1090
        source "$completion"
        COMP_WORDS=("$@")
        COMP_CWORD=$(($# - 1))
        COMP_LINE="$*"
        COMP_POINT=${#COMP_LINE}
        COMP_WORDBREAKS=$' \t\n"\'><=;|&(:'
        function=$(complete -p "$name" | sed -E 's/.*-F ([^ ]+).*/\1/')
        "$function" "$name" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf '%s\n' "${COMPREPLY[@]}" | sort
    )
}
expect() {
    local expected=$1
    shift
    local got
    got=$(complete_words "$@" | paste -sd' ')
    [ "$got" = "$expected" ] || fail "completing '$*': got '$got', expected '$expected'"
}

mkdir -p "$work/files/folder"
touch "$work/files/"{drive.nmea,OLD.NMEA,notes.txt,trip.gpx,cache.loc,city.png,world.jpg,alps.mbtiles}

# Every option of every help text is offered after "-".
for help in "$work"/help.*; do
    c=${help##*help.}
    words=("$name")
    [ "$c" = main ] || words+=("$c")
    offered=$(complete_words "${words[@]}" -)
    for option in $(help_options "$help"); do
        grep -qx -- "$option" <<<"$offered" || fail "'${words[*]} -' does not offer $option"
    done
    # An option that takes a value completes its value rather than offering the options again.
    for option in $(valued_options "$help"); do
        after=$(complete_words "${words[@]}" "$option" "")
        ! grep -q -- '^--' <<<"$after" || fail "'${words[*]} $option' offers options as its value"
    done
done

if [ "$name" = veloran-cli ]; then
    expect "waypoints" "$name" wa
    expect "--summary" "$name" parse --su
    expect "add list locate tile track" "$name" maps ""
    expect "tcp-listen:// tcp://" "$name" listen tcp
    expect "udp://" "$name" listen u
    expect "115200 19200 38400 4800 57600 9600 auto" "$name" listen serial : /dev/ttyUSB0?baud = ""
    expect "all gps" "$name" replay drive.nmea --gnss ""
    expect "OLD.NMEA drive.nmea folder" "$name" parse ""
    expect "cache.loc folder trip.gpx" "$name" waypoints import ""
    expect "alps.mbtiles city.png folder world.jpg" "$name" maps add ""
    expect "city.png folder" "$name" maps tile Alps 46.5 8 12 --png ""
    expect "full low moderate" "$name" listen udp://:10110 --profile ""
else
    expect "--source" "$name" --sou
    expect "udp://" "$name" --source ud
    expect "gpsd://" "$name" --source gp
    # bash cuts "gpsd://" at the colon; only what follows it is replaced.
    expect "//" "$name" --source gpsd : /
    expect "9600" "$name" --source serial : /dev/ttyUSB0?baud = 96
    expect "dashboard data digital list map satellites" "$name" --page ""
    expect "OLD.NMEA drive.nmea folder" "$name" --replay ""
    expect "city.png folder" "$name" --screenshot ""
fi

[ "$failures" -eq 0 ] || exit 1
echo "ok: $name"
