#!/usr/bin/env bash
# cmake --install into a staging folder gives the FHS tree, and the installed programs find their files there.
set -euo pipefail
BUILD=${1:?usage: $0 BUILD_DIR}
SOURCE=$(cd "$(dirname "$0")/../.." && pwd)
WORK=$(mktemp -d)
PID=
cleanup() {
    if [ -n "$PID" ]; then
        kill "$PID" 2>/dev/null || true
        wait "$PID" 2>/dev/null || true
    fi
    rm -rf "$WORK"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
source "$(dirname "$0")/../poll.sh"
command -v man >/dev/null || { echo "SKIP: man is not installed"; exit 77; }

STAGE=$WORK/stage
DESTDIR=$STAGE cmake --install "$BUILD" --prefix /usr >"$WORK/install.log" 2>&1 || fail "$(cat "$WORK/install.log")"
U=$STAGE/usr
ID=org.pilvanor.Pilvanor

expected=(bin/pilvanor bin/pilvanor-messenger bin/pilvanor-send share/pilvanor/pv.ENG share/pilvanor/pv.FRA
          share/applications/$ID.desktop share/metainfo/$ID.metainfo.xml share/icons/hicolor/scalable/apps/$ID.svg
          lib/systemd/user/pilvanor-messenger.service)
for size in 16 32 48 64 128 256; do expected+=("share/icons/hicolor/${size}x$size/apps/$ID.png"); done
for program in pilvanor pilvanor-messenger pilvanor-send; do expected+=("share/man/man1/$program.1.gz"); done
for file in "${expected[@]}"; do [ -f "$U/$file" ] || fail "not installed: $file"; done
for program in pilvanor pilvanor-messenger pilvanor-send; do [ -x "$U/bin/$program" ] || fail "$program not executable"; done
stray=$(cd "$STAGE" && find . -type f | grep -Ev '^\./usr/(bin|share/(pilvanor|applications|metainfo|icons/hicolor|man/man1)|lib/systemd/user)/' || true)
[ -z "$stray" ] || fail "installed outside the expected folders: $stray"
diff -r "$SOURCE/help" "$U/share/pilvanor/help" || fail "the installed help differs from help/"

# Every link between help pages leads to a page, and to an anchor of it when it names one.
for page in "$U"/share/pilvanor/help/*.html; do
    for link in $(grep -o 'href="[^":]*"' "$page" | sed 's/^href="//; s/"$//'); do
        target=${link%%#*}
        target=${target:-$(basename "$page")}
        [ -f "$U/share/pilvanor/help/$target" ] || fail "$(basename "$page") links to missing $target"
        if [[ $link == *#* ]]; then
            grep -q "id=\"${link#*#}\"" "$U/share/pilvanor/help/$target" || fail "$(basename "$page"): no anchor $link"
        fi
    done
done

unit=$U/lib/systemd/user/pilvanor-messenger.service
[ "$(sed -n 's/^ExecStart=//p' "$unit")" = "/usr/bin/pilvanor-messenger --foreground" ] ||
    fail "unit: $(grep ExecStart "$unit")"
grep -q '@' "$unit" && fail "unit keeps a placeholder: $(grep '@' "$unit")"
desktop=$U/share/applications/$ID.desktop
# The entry and each of its actions start the installed program with options it knows.
usage=$(QT_QPA_PLATFORM=offscreen "$U/bin/pilvanor" --help) || fail "pilvanor --help: $usage"
while read -r program options; do
    [ -x "$U/bin/$program" ] || fail "desktop Exec: $program $options"
    for option in $options; do
        grep -q -- "^ *$option " <<<"$usage" || fail "desktop Exec: pilvanor does not know $option"
    done
done < <(sed -n 's/^Exec=//p' "$desktop")
[ "$(grep -c '^Exec=' "$desktop")" = 3 ] || fail "desktop actions: $(grep ^Exec= "$desktop")"
[ "$(sed -n 's/^Icon=//p' "$desktop")" = "$ID" ] || fail "desktop Icon: $(grep ^Icon= "$desktop")"

# Each PNG has the size of its folder (width and height from the IHDR chunk).
for size in 16 32 48 64 128 256; do
    png=$U/share/icons/hicolor/${size}x$size/apps/$ID.png
    read -r w h < <(od -An -tu1 -j16 -N8 "$png" | awk '{print $1*16777216+$2*65536+$3*256+$4, $5*16777216+$6*65536+$7*256+$8}')
    [ "$w $h" = "$size $size" ] || fail "$png is ${w}x$h"
done

# The manual pages format without warnings and name every option that --help lists.
for program in pilvanor-messenger pilvanor-send; do
    page=$U/share/man/man1/$program.1.gz
    warnings=$(LC_ALL=C.UTF-8 MANWIDTH=100 man --warnings -l "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || fail "$program.1: $warnings"
    text=$(LC_ALL=C.UTF-8 MANWIDTH=200 man -l "$page" 2>/dev/null)
    "$U/bin/$program" --help >"$WORK/help.txt" || fail "$program --help failed"
    for option in $(grep -o -- '--[a-z][a-z-]*' "$WORK/help.txt" | sort -u); do
        grep -q -- "$option" <<<"$text" || fail "$program.1 does not describe $option"
    done
done

# The installed pilvanor reads the language file of share/pilvanor: a marked text of it shows when the data
# folder cannot be made.
sed -i 's/^ErreurDossierDonnees=/ErreurDossierDonnees=STAGED /' "$U/share/pilvanor/pv.ENG"
export HOME=$WORK/home XDG_RUNTIME_DIR=$WORK/run PILVANOR_MESSENGER=off QT_QPA_PLATFORM=offscreen
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME
mkdir -p "$HOME" && mkdir -m 700 "$XDG_RUNTIME_DIR"
touch "$HOME/.local"
"$U/bin/pilvanor" >"$WORK/pilvanor.log" 2>&1 &
PID=$!
poll 10 grep -q 'STAGED The data folder' "$WORK/pilvanor.log" ||
    fail "the installed pilvanor did not use share/pilvanor/pv.ENG: $(cat "$WORK/pilvanor.log")"
echo "PASS install tree"
