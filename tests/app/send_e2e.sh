#!/usr/bin/env bash
# The real program on a private LAN, driven from the keyboard under Xvfb: a send to Samba by address, then a
# typed group of three stations (Samba, nobody, our message service), reported in the group send window.
source "$(dirname "$0")/lib.sh"
use_lan
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

start_pilvanor_in_h1() {
    start_pilvanor_in h1
    MAIN_ID=$(wait_window Pilvanor) || fail "the main window did not appear"
    xdotool windowactivate --sync "$MAIN_ID"
    sleep 0.3
}

# Activation puts the focus in the message text; four steps back reach the recipient box.
to_recipient() {
    xdotool key --delay 50 shift+Tab shift+Tab shift+Tab shift+Tab
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
[ "$(pv_history Outgoing)" = "$IP_h2|Hello PEERB" ] || fail "outgoing history: $(pv_history Outgoing)"
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
wait_popups h3 1
[ "$(popup_body h3 1)" = 'Hello group' ] || fail "PEERC's pop-up: <$(popup_body h3 1)>"
# GHOST's failure did not stop the send to PEERC, and left no record.
expected=$(printf '%s\n' "$IP_h2|Hello PEERB" 'PEERB|Hello group' 'PEERC|Hello group')
[ "$(pv_history Outgoing)" = "$expected" ] || fail "outgoing history: $(pv_history Outgoing)"
sleep 0.5
shot pilvanor-group-send.png

# Close has the focus once the send is over; the window keeps its place.
xdotool windowactivate --sync "$group_id" key Return
wait_gone 'Group send' || fail "Close did not close the group window"
[[ "$(setting PositionTailleFenetreEnvoiMessageGroupe)" =~ ^[0-9]+,[0-9]+,[0-9]+,[0-9]+$ ]] \
    || fail "group window position not kept: '$(setting PositionTailleFenetreEnvoiMessageGroupe)'"
quit_pilvanor
echo "PASS send end to end"
