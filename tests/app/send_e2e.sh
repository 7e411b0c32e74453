#!/usr/bin/env bash
# The real program on a private LAN, driven from the keyboard under Xvfb: a send to Samba by address, then a
# typed group of three stations (Samba, nobody, our message service), reported in the group send window.
here=$(dirname "$0")
source "$here/lib.sh"
app_work=$WORK
# The LAN's helpers win where both define one (fail, need, WORK) and end the namespaces at exit.
source "$here/../interop/lib.sh"
rm -rf "$app_work"
# X goes too, then the LAN's own clean-up, which reads the exit status from $?.
_e2e_cleanup() {
    local status=$? pid
    set +e
    for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null; done
    (exit "$status")
    _cleanup
}
trap _e2e_cleanup EXIT

need_root_netns
need smbd nmbd nmblookup
service_bin=$(pv_bin pilvanor-messenger)
start_x

make_lan 3
start_smbd h2 PEERB WG
start_nmbd h2
start_in h3 messenger "$service_bin" --foreground --spool "$WORK/h3/spool" --name PEERC --workgroup WG
wait_port h2 139
wait_name h1 'PEERB#03' >/dev/null
wait_name h1 'PEERC#03' >/dev/null

new_home user
data="$HOME/.local/share/Pilvanor/Pilvanor.pv"

# A program in h1 reaches the display through the socket file under /tmp/.X11-unix.
start_pilvanor_in_h1() {
    start_in h1 pilvanor "$PILVANOR"
    PILVANOR_PID=$!
    MAIN_ID=$(wait_window Pilvanor) || fail "the main window did not appear"
    xdotool windowactivate --sync "$MAIN_ID"
    sleep 0.3
}

quit_pilvanor() {
    kill -TERM "$PILVANOR_PID"
    wait_exit "$PILVANOR_PID" || fail "pilvanor did not end on SIGTERM"
}

# Activation puts the focus in the message text; four steps back reach the recipient box.
to_recipient() {
    xdotool key --delay 50 shift+Tab shift+Tab shift+Tab shift+Tab
}

outgoing() {
    sed -n '/^\[OutgoingMessage\]/,/^\[/{/^[0-9]\{17\}=/p}' "$data" 2>/dev/null | cut -d= -f2-
}

popup_body() {
    local file
    file=$(find "$WORK/$1/spool" -maxdepth 1 -name '*.popup' | sort | sed -n "$2p")
    [ -n "$file" ] || fail "$1 has no pop-up $2"
    tr -d '\r' <"$file" | sed '1,/^$/d' | sed '1,2d'
}

# By address, pinged first (the default): Enter in the recipient box moves on to the empty text, Ctrl+Enter sends.
start_pilvanor_in_h1
to_recipient
xdotool type --delay 20 "$IP_h2"
xdotool key Return
xdotool type --delay 20 'Hello PEERB'
xdotool key ctrl+Return
wait_messages h2 1 15
[ "$(message_text h2 1)" = 'Hello PEERB' ] || fail "smbd received: $(message_text h2 1)"
wait_state "$MAIN_ID" Iconic || fail "the main window did not minimise after the send"
[ "$(outgoing)" = "$IP_h2|Hello PEERB" ] || fail "outgoing history: $(outgoing)"
quit_pilvanor

# Names the resolver does not know are found by NetBIOS queries, for the ping as for the send.
start_pilvanor_in_h1
xdotool type --delay 20 'Hello group'
to_recipient
xdotool type --delay 20 'peerb,ghost,peerc'
sleep 0.3
shot pilvanor-send.png
xdotool key Return
group_id=$(wait_window 'Group send') || fail "the group send window did not appear"
wait_messages h2 2 15
[ "$(message_text h2 2)" = 'Hello group' ] || fail "PEERB received: $(message_text h2 2)"
for _ in $(seq 1 100); do
    [ "$(find "$WORK/h3/spool" -maxdepth 1 -name '*.popup' 2>/dev/null | wc -l)" -ge 1 ] && break
    sleep 0.05
done
[ "$(popup_body h3 1)" = 'Hello group' ] || fail "PEERC's pop-up: <$(popup_body h3 1)>"
# GHOST's failure did not stop the send to PEERC, and left no record.
expected=$(printf '%s\n' "$IP_h2|Hello PEERB" 'PEERB|Hello group' 'PEERC|Hello group')
[ "$(outgoing)" = "$expected" ] || fail "outgoing history: $(outgoing)"
sleep 0.5
shot pilvanor-group-send.png

# Close has the focus once the send is over; the window keeps its place.
xdotool windowactivate --sync "$group_id" key Return
for _ in $(seq 1 50); do
    xdotool search --onlyvisible --name '^Group send$' >/dev/null 2>&1 || break
    sleep 0.1
done
! xdotool search --onlyvisible --name '^Group send$' >/dev/null 2>&1 || fail "Close did not close the group window"
[[ "$(setting PositionTailleFenetreEnvoiMessageGroupe)" =~ ^[0-9]+,[0-9]+,[0-9]+,[0-9]+$ ]] \
    || fail "group window position not kept: '$(setting PositionTailleFenetreEnvoiMessageGroupe)'"
quit_pilvanor
echo "PASS send end to end"
