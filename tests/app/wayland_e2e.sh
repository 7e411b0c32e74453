#!/usr/bin/env bash
# A Wayland desktop without a tray (what GNOME offers), on a private LAN: weston's headless back end as the
# compositor, a private session bus, and tests/app/bureau_dbus.py as the desktop's notification service (and
# later its global-shortcuts portal). A message from Samba's smbclient -M in the balloon mode becomes one
# notification, whose action opens the message window; "pilvanor --show" brings the minimised window back; the
# preferences tell how to bind the hot key; through the portal the hot key brings the window back. What the
# program asks of the compositor is read from its Wayland log (WAYLAND_DEBUG), what it shows from screenshots.
source "$(dirname "$0")/lib.sh"
TST_PREFERENCE=${2:?usage: $0 BIN_DIR TST_FRMPREFERENCE}
use_lan
need weston weston-screenshooter dbus-daemon dbus-send smbclient convert
# Debian's own Python, which python3-dbus and python3-gi extend (not one that a version manager put first).
PYTHON=/usr/bin/python3
"$PYTHON" -c 'import dbus, gi' 2>/dev/null || skip "python3-dbus or python3-gi is missing"
compgen -G "/usr/lib/*/qt6/plugins/platforms/libqwayland-generic.so" >/dev/null \
    || skip "Qt's Wayland platform plugin (qt6-wayland) is missing"
pv_bin pilvanor-messenger >/dev/null

# The compositor, with screenshots allowed (--debug) and drawn in memory (pixman).
mkdir -m 700 "$WORK/wl"
XDG_RUNTIME_DIR="$WORK/wl" weston --backend=headless-backend.so --use-pixman --debug --socket=wayland-pv \
    --idle-time=0 --width=1024 --height=768 >"$WORK/weston.log" 2>&1 &
PIDS+=($!)
poll 10 test -S "$WORK/wl/wayland-pv" || skip "weston cannot start here: $(tail -n 3 "$WORK/weston.log")"
export WAYLAND_DISPLAY="$WORK/wl/wayland-pv" QT_QPA_PLATFORM=wayland XDG_SESSION_TYPE=wayland
unset DISPLAY

# A path, not an abstract socket: those belong to one network namespace, and pilvanor runs in the LAN's.
dbus-daemon --session --address="unix:path=$WORK/bus" --nofork --nopidfile >"$WORK/dbus.log" 2>&1 &
PIDS+=($!)
export DBUS_SESSION_BUS_ADDRESS="unix:path=$WORK/bus"
wait_for "no session bus" 5 test -S "$WORK/bus"

DESKTOP_LOG="$WORK/bureau.log"
start_desktop() {
    "$PYTHON" "$(dirname "$0")/bureau_dbus.py" "$DESKTOP_LOG" "$@" 2>>"$WORK/bureau.err" &
    DESKTOP_PID=$!
    PIDS+=("$DESKTOP_PID")
    poll 10 _desktop_ready || fail "the desktop stand-in did not start: $(cat "$WORK/bureau.err")"
}
_desktop_ready() { [ "$(grep -c '"ready"' "$DESKTOP_LOG" 2>/dev/null)" -ge "$DESKTOP_RUNS" ]; }
# calls NAME: the calls of that name the desktop stand-in received, one JSON object a line.
calls() {
    grep "\"call\": \"$1\"" "$DESKTOP_LOG" || true
}
wait_calls() { poll 10 _has_calls "$1" "$2" || fail "$(calls "$1" | wc -l) $1 calls, expected $2: $(cat "$DESKTOP_LOG")"; }
_has_calls() { [ "$(calls "$1" | wc -l)" -ge "$2" ]; }
field() {
    "$PYTHON" -c 'import json, sys; print(json.dumps(json.loads(sys.argv[1])[sys.argv[2]]))' "$1" "$2"
}
as_user() {
    dbus-send --session --print-reply "$@" >/dev/null || fail "dbus-send $*"
}

make_lan 2
new_home user
unset PILVANOR_MESSENGER
service_names BOB
printf '[General]\nAffichageMessage=2\nDemarrerMinimise=1\n' >"$CONF"
WLOG="$WORK/h1/log/pilvanor.out"

# toplevels TITLE: how many windows of that title the program has mapped so far.
toplevels() { grep -c "xdg_toplevel@[0-9]*\.set_title(\"$1\")" "$WLOG" 2>/dev/null || true; }
wait_toplevels() { poll 10 _has_toplevels "$1" "$2" || fail "$(toplevels "$1") windows '$1' mapped, expected $2"; }
_has_toplevels() { [ "$(toplevels "$1")" -ge "$2" ]; }
# on_screen: the share of the screen the window's light background covers.
on_screen() {
    (cd "$WORK" && rm -f wayland-screenshot-*.png && weston-screenshooter >/dev/null 2>&1) || fail "no screenshot"
    convert "$WORK"/wayland-screenshot-*.png -fx 'r>0.85&&g>0.85&&b>0.85' -format '%[fx:mean]' info:
}
wait_on_screen() { poll 6 _shown_is "$1" || fail "$share of the screen is window, expected shown=$1"; }
_shown_is() { share=$(on_screen) && [ "$(awk -v s="$share" 'BEGIN { print (s > 0.1) }')" = "$1" ]; }
start_pilvanor_wayland() {
    WAYLAND_DEBUG=client start_pilvanor_in h1
    wait_toplevels Pilvanor "$1"
    wait_port h1 139
}

DESKTOP_RUNS=1
start_desktop
start_pilvanor_wayland 1
wait_on_screen 0

# A second start brings the first forward and ends.
"$PILVANOR" --show >"$WORK/second.log" 2>&1 || fail "pilvanor --show: $(cat "$WORK/second.log")"
kill -0 "$PILVANOR_PID" || fail "the first instance ended"
wait_toplevels Pilvanor 2
wait_on_screen 1

# The balloon mode without a tray: one notification, replaced by the next, and no window.
from_samba 'Hello <b>from</b> Samba'
wait_calls Notify 1
n=$(calls Notify)
[ "$(field "$n" summary)" = '"Message from alice (alice)"' ] || fail "summary: $n"
[ "$(field "$n" body)" = '"Hello &lt;b&gt;from&lt;/b&gt; Samba"' ] || fail "body: $n"
[ "$(field "$n" app)/$(field "$n" icon)/$(field "$n" replaces)" = '"Pilvanor"/"org.pilvanor.Pilvanor"/0' ] || fail "$n"
[ "$(field "$n" actions)" = '["default", "Show"]' ] || fail "actions: $n"
grep -q '"desktop-entry": "org.pilvanor.Pilvanor"' <<<"$n" || fail "hints: $n"
from_samba 'Second'
wait_calls Notify 2
n=$(calls Notify | sed -n 2p)
[ "$(field "$n" replaces)/$(field "$n" body)" = '1/"Second"' ] || fail "the second notification did not replace the first: $n"
[ "$(toplevels 'New message')" = 0 ] || fail "a message window opened beside the notification"
[ "$(pv_history Incoming | wc -l)" = 2 ] || fail "received history: $(pv_history Incoming)"

# Its action shows both messages.
as_user --dest=org.freedesktop.Notifications /org/freedesktop/Notifications org.pilvanor.Essai.Invoke string:default
wait_toplevels 'New message' 2

# The preferences, in this session without a portal, say how to bind the hot key.
NOTICE_ROWS=(hotKeyNoticeWhereNoKeyCanBeGrabbed:Wayland "hotKeyNoticeWhereNoKeyCanBeGrabbed:Wayland, French")
PV_PORTAIL_ESSAI=0 "$TST_PREFERENCE" "${NOTICE_ROWS[@]}" >"$WORK/tst.log" 2>&1 \
    || fail "the preferences under Wayland: $(cat "$WORK/tst.log")"
quit_pilvanor

# Where the desktop has the global-shortcuts portal, the hot key is asked of it and brings the window back.
kill "$DESKTOP_PID"
DESKTOP_RUNS=2
start_desktop --portal
start_pilvanor_wayland 3
wait_calls BindShortcuts 1
b=$(calls BindShortcuts)
[ "$(field "$b" shortcuts)" = '[["afficher", {"description": "Bring the Pilvanor window forward", "preferred_trigger": "CTRL+ALT+m"}]]' ] \
    || fail "BindShortcuts: $b"
wait_on_screen 0
as_user --dest=org.freedesktop.portal.Desktop /org/freedesktop/portal/desktop org.pilvanor.Essai.Activate
wait_toplevels Pilvanor 4
wait_on_screen 1
PV_PORTAIL_ESSAI=1 "$TST_PREFERENCE" "${NOTICE_ROWS[@]}" >"$WORK/tst.log" 2>&1 \
    || fail "the preferences with a portal: $(cat "$WORK/tst.log")"
quit_pilvanor
echo "PASS Wayland without a tray"
