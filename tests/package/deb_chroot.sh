#!/usr/bin/env bash
# The Debian package, as a user gets it: built with cpack, installed with apt into a fresh Debian root (debootstrap)
# that pulls its dependencies, run there, given its capability, then purged without a trace. Root only.
# The debootstrap root and the downloaded packages are kept in BUILD_DIR/package-cache, so a second run needs the
# network only for apt's index. PV_DEBIAN_MIRROR overrides the mirror read from apt's sources.
set -euo pipefail
BUILD=$(cd "${1:?usage: $0 BUILD_DIR}" && pwd)
skip() { echo "SKIP: $*"; exit 77; }
fail() { echo "FAIL: $*" >&2; exit 1; }
source "$(dirname "$0")/../poll.sh"
[ "$(id -u)" -eq 0 ] || skip "needs root (chroot, mount, debootstrap)"
for tool in cpack debootstrap dpkg-deb dpkg-shlibdeps chroot unshare ip flock; do
    command -v "$tool" >/dev/null || skip "$tool is not installed"
done

CACHE=$BUILD/package-cache
mkdir -p "$CACHE/archives"
exec 8>"$CACHE/.lock"
flock 8 # one run at a time uses the cache
WORK=$(mktemp -d "$CACHE/run.XXXXXX")
ROOT=$WORK/root
started=$SECONDS
step() { echo "[$((SECONDS - started)) s] $*"; }

unmount_root() {
    local m
    for m in $(findmnt -rn -o TARGET | grep -F "$ROOT/" | sort -r); do
        umount "$m" || umount -l "$m"
    done
}
cleanup() {
    unmount_root
    # Only once nothing is mounted inside, and never across into another file system.
    if ! findmnt -rn -o TARGET | grep -qF "$ROOT/"; then
        rm -rf --one-file-system "$WORK"
    fi
}
trap cleanup EXIT

codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
[ -n "$codename" ] || skip "no VERSION_CODENAME in /etc/os-release"

# The mirror apt uses for this release.
mirror() {
    [ -z "${PV_DEBIAN_MIRROR:-}" ] || { echo "$PV_DEBIAN_MIRROR"; return; }
    apt-get indextargets --format '$(REPO_URI)' "Release: $codename" "Target-Of: deb" | awk 'NR == 1'
}

in_root() {
    chroot "$ROOT" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}
apt_in_root() {
    # The archive cache is shared with the host's build folder: download as root, not as apt's own user.
    in_root apt-get -q -y -o APT::Sandbox::User=root -o Dpkg::Use-Pty=0 "$@"
}

# 1. The package.
step "cpack"
cpack --config "$BUILD/CPackConfig.cmake" -G DEB -B "$WORK/cpack" >"$WORK/cpack.log" 2>&1 || fail "$(tail -30 "$WORK/cpack.log")"
deb=$(ls "$WORK"/cpack/pilvanor_*.deb)
depends=$(dpkg-deb -f "$deb" Depends)
for dependency in libc6 libqt6core6 libqt6gui6 libqt6network6 libqt6widgets6 libx11-6; do
    [[ ", $depends," == *", $dependency "* || ", $depends," == *", $dependency,"* ]] ||
        fail "Depends lacks $dependency: $depends"
done
[ "$(dpkg-deb -f "$deb" Recommends)" = "libcap2-bin, qt6-translations-l10n" ] || fail "Recommends: $(dpkg-deb -f "$deb" Recommends)"
outside=$(dpkg-deb -c "$deb" | awk '{print $6}' | grep -Ev '^\./(usr(/.*)?)?$' || true)
[ -z "$outside" ] || fail "the package installs outside /usr: $outside"
dpkg-deb -I "$deb" postinst >/dev/null || fail "the package has no postinst"

# 2. A fresh root: debootstrap once, unpacked anew for every run.
base=$CACHE/debootstrap-$codename-minbase.tar
if [ ! -s "$base" ]; then
    url=$(mirror)
    [ -n "$url" ] || skip "no Debian mirror for $codename in apt's sources"
    step "debootstrap $codename from $url (once; kept in $base)"
    mkdir "$WORK/bootstrap"
    debootstrap --variant=minbase "$codename" "$WORK/bootstrap" "$url" >"$WORK/debootstrap.log" 2>&1 ||
        fail "debootstrap: $(tail -20 "$WORK/debootstrap.log")"
    tar -C "$WORK/bootstrap" -cf "$base.tmp" . && mv "$base.tmp" "$base"
    rm -rf --one-file-system "$WORK/bootstrap"
fi
step "fresh root"
mkdir "$ROOT"
tar -C "$ROOT" -xf "$base"
cp /etc/resolv.conf "$ROOT/etc/resolv.conf"
printf '#!/bin/sh\nexit 101\n' >"$ROOT/usr/sbin/policy-rc.d" # no service starts inside
chmod 755 "$ROOT/usr/sbin/policy-rc.d"
mount -t proc proc "$ROOT/proc"
mount --bind "$CACHE/archives" "$ROOT/var/cache/apt/archives"
cp "$deb" "$ROOT/tmp/"
deb_in_root=/tmp/$(basename "$deb")

# Runs the installed service as nobody in a network namespace of its own, on port 139: prints what it said.
serve_as_nobody() {
    mkdir -p -m 1777 "$ROOT/tmp/pv-spool"
    timeout 3 unshare -n sh -c 'ip link set lo up && exec chroot --userspec=65534:65534 "$1" /usr/bin/pilvanor-messenger \
        --foreground --bind 127.0.0.1 --no-udp --port 139 --spool /tmp/pv-spool' sh "$ROOT" 2>&1 || true
}

# Everything the package installed is gone after a purge, and nothing else of it is left.
purge_leaves_nothing() {
    in_root dpkg -L pilvanor >"$WORK/files"
    apt_in_root purge pilvanor >"$WORK/purge.log" 2>&1 || fail "purge: $(tail -20 "$WORK/purge.log")"
    local left
    left=$(while read -r f; do [ ! -f "$ROOT$f" ] || echo "$f"; done <"$WORK/files")
    [ -z "$left" ] || fail "left after purge: $left"
    left=$(cd "$ROOT" && find . \( -path ./proc -o -path ./tmp -o -path ./var/cache/apt/archives \) -prune -o \
        -iname '*pilvanor*' -print)
    [ -z "$left" ] || fail "left after purge: $left"
}

# 3. Install as a user would: apt-get install ./the.deb, recommended packages included.
step "apt-get update"
apt_in_root update >"$WORK/update.log" 2>&1 || fail "apt-get update: $(tail -20 "$WORK/update.log")"
step "apt-get install $deb_in_root"
apt_in_root install "$deb_in_root" >"$WORK/install.log" 2>&1 || fail "install: $(tail -30 "$WORK/install.log")"
for program in pilvanor-send pilvanor-messenger; do
    in_root "$program" --help >"$WORK/help.txt" 2>&1 || fail "$program --help: $(cat "$WORK/help.txt")"
    grep -q "^Usage: $program" "$WORK/help.txt" || fail "$program --help: $(cat "$WORK/help.txt")"
done
[ -f "$ROOT/usr/share/qt6/translations/qtbase_fr.qm" ] || fail "Qt's translations did not come with the package"
caps=$(in_root getcap /usr/bin/pilvanor-messenger)
[[ $caps == *cap_net_bind_service=ep* ]] || fail "getcap: '$caps'"
said=$(serve_as_nobody)
[[ $said == *"pilvanor-messenger: TCP port 139, names"* ]] || fail "the service could not take port 139 as nobody: $said"
# The desktop program runs with what apt brought and reads /usr/share/pilvanor/pv.ENG (the English text of a
# data folder that cannot be made).
mkdir -p "$ROOT/tmp/home" && touch "$ROOT/tmp/home/.local"
timeout 10 chroot "$ROOT" env -i PATH=/usr/bin:/bin HOME=/tmp/home XDG_RUNTIME_DIR=/tmp QT_QPA_PLATFORM=offscreen \
    PILVANOR_MESSENGER=off pilvanor >"$WORK/pilvanor.log" 2>&1 &
desktop=$!
poll 10 grep -q 'The data folder' "$WORK/pilvanor.log" || true
kill "$desktop" 2>/dev/null || true
wait "$desktop" 2>/dev/null || true
grep -q 'The data folder /tmp/home/.local/share/Pilvanor cannot be created' "$WORK/pilvanor.log" ||
    fail "pilvanor in the fresh root: $(cat "$WORK/pilvanor.log")"
step "purge"
purge_leaves_nothing

# 4. Without setcap the package still installs, says why, and the service is refused port 139. libcap2-bin
# cannot simply be removed (GStreamer, under Qt Multimedia, depends on it), so setcap is diverted out of the way.
step "install without setcap"
in_root dpkg-divert --local --rename --divert /usr/sbin/setcap.hidden --add /usr/sbin/setcap >/dev/null ||
    fail "cannot divert setcap"
apt_in_root install "$deb_in_root" >"$WORK/install2.log" 2>&1 ||
    fail "install without setcap: $(tail -30 "$WORK/install2.log")"
grep -q 'setcap is missing' "$WORK/install2.log" || fail "postinst did not say setcap is missing"
said=$(serve_as_nobody)
[[ $said == *"TCP port 139: Permission denied"* ]] || fail "port 139 without the capability: $said"
purge_leaves_nothing
in_root dpkg-divert --local --rename --divert /usr/sbin/setcap.hidden --remove /usr/sbin/setcap >/dev/null
step "PASS Debian package"
