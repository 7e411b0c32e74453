#!/usr/bin/env bash
# The real program receiving on a private LAN, under Xvfb with openbox and a system tray (trayer): messages from
# Samba's smbclient -M and from pilvanor-send reach the service that pilvanor started, go into the received
# history, and show in a window per message, in one window for all, or as a balloon of the tray icon. The service
# first runs in French, pilvanor in English; killed, the service is started again by pilvanor.
source "$(dirname "$0")/lib.sh"
use_lan
need smbclient trayer import convert xwininfo
send_bin=$(pv_bin pilvanor-send)
messenger_bin=$(pv_bin pilvanor-messenger)
start_x
# Without a session bus Qt docks its icon in the X tray, which trayer holds.
unset DBUS_SESSION_BUS_ADDRESS
trayer --edge bottom --align right --widthtype percent --width 100 --height 24 --SetDockType true \
    --transparent true --alpha 0 --tint 0x3b4252 >"$WORK/trayer.log" 2>&1 &
PIDS+=($!)
panel_id() { xdotool search --onlyvisible --classname '^panel$' 2>/dev/null | head -n 1 | grep .; }
panel=$(poll 10 panel_id) || fail "trayer's panel did not appear"
# No tool tip may open under a pointer left over a window.
xdotool mousemove 0 0

make_lan 2
new_home user
# pilvanor starts the service itself; the service answers to BOB besides the host name.
unset PILVANOR_MESSENGER
service_names BOB
printf '[General]\nAffichageMessage=0\n' >"$CONF"
# Its pop-ups carry the French title and header; the program's settings are the English defaults.
start_in h1 messenger env LC_ALL=fr_FR.UTF-8 "$messenger_bin"
wait_port h1 139

# service_pid [BUT]: the service in h1, other than BUT (it detaches from whoever started it).
service_pid() {
    local pid
    for pid in $(ip netns pids "$NS_h1"); do
        [ "$pid" != "${1:-}" ] && [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = pilvanor-messen ] && { echo "$pid"; return 0; }
    done
    return 1
}

# The main window, not the tray icon that bears the same name.
main_window() {
    local id
    for id in $(xdotool search --onlyvisible --name '^Pilvanor$' 2>/dev/null); do
        [ "$(xwininfo -id "$id" | sed -n 's/.*Width: //p')" -gt 100 ] && { echo "$id"; return 0; }
    done
    return 1
}

start_pilvanor_in_h1() {
    sed -i "s/^AffichageMessage=.*/AffichageMessage=$1/" "$CONF"
    start_pilvanor_in h1
    MAIN_ID=$(poll 10 main_window) || fail "the main window did not appear"
    ICON_ID=$(poll 5 tray_icon) || fail "the tray icon is not in trayer's panel"
    wait_port h1 139
}

tray_icon() { xwininfo -tree -id "$panel" | awk '/\("pilvanor" "Pilvanor"\)/ { print $1; exit }' | grep .; }

# wait_incoming N [TEXT]: waits until the received history holds N messages, the newest TEXT ("sender|text").
wait_incoming() {
    poll 10 _incoming "$1" || fail "received history after $1 messages: $(pv_history Incoming)"
    [ -z "${2:-}" ] || [ "$(pv_history Incoming | sed -n "$1p")" = "$2" ] || fail "received history: $(pv_history Incoming)"
}
_incoming() { [ "$(pv_history Incoming | wc -l)" -ge "$1" ]; }

from_pilvanor_send() {
    local out
    out=$(in_host h2 "$send_bin" --from carol "$IP_h1" "$1" 2>&1) || fail "pilvanor-send: $out"
}

count_windows() { xdotool search --onlyvisible --name "^$1\$" 2>/dev/null | wc -l; }

wait_windows() { poll 10 _windows "$1" "$2" || fail "$(count_windows "$1") windows '$1', expected $2"; }
_windows() { [ "$(count_windows "$1")" = "$2" ]; }

# wait_icon TEST WANT: waits until the tray icon shows (WANT 1) or lacks (WANT 0) pixels that pass TEST, an fx
# expression over r, g, b, on more than 2% of its area.
blue='b>0.6&&r<0.4'
red='r>0.7&&g<0.4&&b<0.4'
wait_icon() { poll 10 _icon "$1" "$2" || fail "the tray icon: $share of its pixels pass $1, expected shown=$2"; }
_icon() {
    import -window "$ICON_ID" "$WORK/icon.png"
    share=$(convert "$WORK/icon.png" -fx "$1" -format '%[fx:mean]' info:)
    [ "$(awk -v s="$share" 'BEGIN { print (s > 0.02) }')" = "$2" ]
}

mapped() { xwininfo -id "$1" 2>/dev/null | grep -q 'Map State: IsViewable'; }

wait_mapped() { poll 5 _mapped_is "$1" "$2"; }
_mapped_is() { if mapped "$1"; then [ "$2" = 1 ]; else [ "$2" = 0 ]; fi; }

# geometry ID: left, top, width and height of a window on the screen.
geometry() {
    xwininfo -id "$1" | awk '/Absolute upper-left X/ { x = $NF } /Absolute upper-left Y/ { y = $NF }
        /Width/ { w = $NF } /Height/ { print x, y, w, $NF }'
}

# The balloon: a window of the program outside the window manager, wider than a tool tip, by the tray icon.
balloon() {
    local id x y w h ix iy
    read -r ix iy _ < <(geometry "$ICON_ID")
    for id in $(xdotool search --onlyvisible --class '^pilvanor$' 2>/dev/null); do
        [ "$((id))" != "$((ICON_ID))" ] || continue
        xwininfo -id "$id" -stats | grep -q 'Override Redirect State: yes' || continue
        read -r x y w h < <(geometry "$id")
        if [ "$w" -gt 150 ] && [ $((ix - x - w)) -lt 40 ] && [ $((iy - y - h)) -lt 40 ]; then
            echo "$id"
            return 0
        fi
    done
    return 1
}

# A window per message: the icon counts them, and reading them all takes the count back to none.
start_pilvanor_in_h1 0
wait_icon "$blue" 1
wait_icon "$red" 0
# Off the middle, where the message window opens, so that both show.
xdotool windowmove "$MAIN_ID" 40 30
from_samba 'Hello from Samba'
wait_incoming 1 'alice|Hello from Samba'
wait_windows 'New message' 1
wait_icon "$red" 1
shot pilvanor-received.png
from_pilvanor_send 'Hello from pilvanor-send'
wait_incoming 2 'carol|Hello from pilvanor-send'
wait_windows 'New message' 2
for id in $(xdotool search --onlyvisible --name '^New message$'); do
    xdotool windowactivate --sync "$id" key alt+F4
done
wait_windows 'New message' 0
wait_icon "$red" 0
quit_pilvanor

# The service outlives pilvanor: what arrives meanwhile waits for the next start.
from_samba 'While closed'
# One window for all, whose caption counts the new messages.
start_pilvanor_in_h1 1
wait_incoming 3 'alice|While closed'
wait_windows 'New message' 1
from_pilvanor_send 'Later'
wait_incoming 4
wait_windows 'New messages' 1
[ "$(count_windows 'New message')" = 0 ] || fail "a second window opened in the one-window mode"
xdotool windowactivate --sync "$(xdotool search --onlyvisible --name '^New messages$')" key alt+F4
wait_windows 'New messages' 0
quit_pilvanor

# The balloon. The main window waits in the tray until the hot key brings it back.
start_pilvanor_in_h1 2
xdotool windowminimize "$MAIN_ID"
wait_mapped "$MAIN_ID" 0 || fail "minimised, the main window did not go to the tray"
xdotool key ctrl+alt+m
wait_mapped "$MAIN_ID" 1 || fail "Ctrl+Alt+M did not bring the window back from the tray"
from_samba 'In a balloon'
wait_incoming 5 'alice|In a balloon'
poll 5 balloon >/dev/null || fail "no balloon by the tray icon"
[ "$(count_windows 'New message')" = 0 ] || fail "a message window opened in the balloon mode"
wait_icon "$red" 1
shot pilvanor-balloon.png
# A double click on the icon shows the message the balloon told of.
read -r ix iy _ < <(geometry "$ICON_ID")
xdotool mousemove --sync $((ix + 18)) $((iy + 18)) click --repeat 2 --delay 80 1
wait_windows 'New message' 1
wait_icon "$red" 0

# Killed, the service comes back within seconds, and a message sent afterwards arrives.
old_service=$(service_pid) || fail "no message service runs in h1"
kill -KILL "$old_service"
poll 10 service_pid "$old_service" >/dev/null || fail "pilvanor did not start the message service again"
wait_port h1 139
from_pilvanor_send 'After the restart'
wait_incoming 6 'carol|After the restart'
quit_pilvanor
echo "PASS receive end to end"
