#!/usr/bin/env bash
# The built package as a user gets it: installed into this machine with apt, run from /usr alone
# (a clean environment, a fresh home, no build tree on any path), then purged, and nothing of it
# may be left behind.
#   tests/package_install.sh veloran_VERSION_ARCH.deb
# Changes the machine while it runs: scripts/package calls it only when no veloran package is
# installed, and it removes what it installed even when a check fails.
set -euo pipefail
deb=$(realpath "${1:?usage: tests/package_install.sh veloran_VERSION_ARCH.deb}")
sudo_=()
[ "$(id -u)" -ne 0 ] && sudo_=(sudo)

work=$(mktemp -d)
chmod 755 "$work"
installed=0
cleanup() {
    if [ "$installed" = 1 ]; then
        DEBIAN_FRONTEND=noninteractive "${sudo_[@]}" apt-get purge -y -q veloran >/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

# Recommends (the Wayland platform, DejaVu) are left out: the test runs on the offscreen
# platform and should change the machine as little as it can.
DEBIAN_FRONTEND=noninteractive "${sudo_[@]}" apt-get install -y -q --no-install-recommends \
    "$deb" >"$work/apt.log" 2>&1 || { cat "$work/apt.log" >&2; fail "apt-get install $deb"; }
installed=1
dpkg -L veloran >"$work/files"

home="$work/home"
mkdir -p "$home"
# Only /usr/bin and /bin: a program that still looked for its build tree would not find it.
run() {
    env -i HOME="$home" PATH=/usr/bin:/bin LANG=C.UTF-8 QT_QPA_PLATFORM=offscreen \
        XDG_RUNTIME_DIR="$work" "$@"
}
check() { # what, then the command
    local what=$1
    shift
    if ! (cd "$work" && run "$@") >"$work/out" 2>&1; then
        cat "$work/out" >&2
        fail "$what"
    fi
    echo "ok: $what"
}

[ "$(command -v veloran)" = /usr/bin/veloran ] || fail "veloran is not /usr/bin/veloran"
check "veloran --version" veloran --version
grep -q '^veloran ' "$work/out" || fail "veloran --version printed $(cat "$work/out")"
check "veloran-cli --version" veloran-cli --version
check "veloran-cli parse of the installed demo log" \
    veloran-cli parse /usr/share/veloran/demo.nmea --summary
grep -Eq '^RMC +[1-9][0-9]*$' "$work/out" || fail "veloran-cli parse read no RMC: $(cat "$work/out")"

check "a screenshot of the installed window" \
    veloran --demo --replay-delay 0 --config-dir "$home/config" --data-dir "$home/data" \
    --screenshot "$work/window.png"
[ "$(head -c 8 "$work/window.png" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] \
    || fail "the screenshot is no PNG"
[ "$(stat -c %s "$work/window.png")" -gt 20000 ] || fail "the screenshot is nearly empty"

check "man -w veloran" man -w veloran
[ "$(cat "$work/out")" = /usr/share/man/man1/veloran.1.gz ] || fail "man -w found $(cat "$work/out")"
check "man -w veloran-cli" man -w veloran-cli
for program in veloran veloran-cli; do
    check "the $program completion sourced" bash -euc \
        "source /usr/share/bash-completion/completions/$program; complete -p $program"
done
check "the world map links to xplanet-images" test -s /usr/share/veloran/maps/world.jpg

DEBIAN_FRONTEND=noninteractive "${sudo_[@]}" apt-get purge -y -q veloran >"$work/apt.log" 2>&1 \
    || { cat "$work/apt.log" >&2; fail "apt-get purge veloran"; }
installed=0
dpkg-query -W -f='${Status}' veloran 2>/dev/null | grep -q 'installed' \
    && fail "veloran is still installed after the purge"
left=()
while IFS= read -r path; do
    [ "$path" = /. ] && continue
    # Folders other packages share (/usr/bin, the icon theme) stay; everything of ours goes.
    if [ -d "$path" ] && [ ! -L "$path" ]; then
        case "$path" in
            /usr/share/veloran* | /usr/share/doc/veloran*) left+=("$path") ;;
        esac
    elif [ -e "$path" ] || [ -L "$path" ]; then
        left+=("$path")
    fi
done <"$work/files"
[ ${#left[@]} -eq 0 ] || fail "left behind after the purge: ${left[*]}"
echo "ok: purged, nothing left of $(wc -l <"$work/files") paths"
