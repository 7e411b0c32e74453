#!/usr/bin/env bash
# The real program on a private LAN, driven from the keyboard under Xvfb: a send to Samba by address, then a
# typed group of three stations (Samba, nobody, our message service), reported in the group send window, then a long
# text to the whole workgroup ("*"), which two message services receive.
source "$(dirname "$0")/lib.sh"
use_lan
need smbd nmbd nmblookup
service_bin=$(pv_bin pilvanor-messenger)
start_x

make_lan 4
start_smbd h2 PEERB WG
start_nmbd h2
start_in h3 messenger "$service_bin" --foreground --spool "$WORK/h3/spool" --name PEERC --workgroup WG
start_in h4 messenger "$service_bin" --foreground --spool "$WORK/h4/spool" --name PEERD --workgroup WG
wait_port h2 139
wait_name h1 'PEERB#03' >/dev/null
wait_name h1 'PEERC#03' >/dev/null
wait_name h1 'PEERD#03' >/dev/null

new_home user

start_pilvanor_in_h1() {
    start_pilvanor_in h1
    MAIN_ID=$(wait_window Pilvanor) || fail "the main window did not appear"
    xdotool windowactivate --sync "$MAIN_ID"
}

# Each station is recorded once the earlier ones are: it may get its message before.
wait_history() {
    poll 5 _history_is "$1" || fail "outgoing history: <$(pv_history Outgoing)>, expected <$1>"
}
_history_is() { [ "$(pv_history Outgoing)" = "$1" ]; }

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
shot pilvanor-send.png
xdotool key Return
group_id=$(wait_window 'Group send') || fail "the group send window did not appear"
wait_messages h2 2 15
[ "$(message_text h2 2)" = 'Hello group' ] || fail "PEERB received: $(message_text h2 2)"
expect_popup h3 1 'Hello group'
# GHOST's failure did not stop the send to PEERC, and left no record.
wait_history "$(printf '%s\n' "$IP_h2|Hello PEERB" 'PEERB|Hello group' 'PEERC|Hello group')"
shot pilvanor-group-send.png

# Close has the focus once the send is over; the window keeps its place.
xdotool windowactivate --sync "$group_id" key Return
wait_gone 'Group send' || fail "Close did not close the group window"
[[ "$(setting PositionTailleFenetreEnvoiMessageGroupe)" =~ ^[0-9]+,[0-9]+,[0-9]+,[0-9]+$ ]] \
    || fail "group window position not kept: '$(setting PositionTailleFenetreEnvoiMessageGroupe)'"
quit_pilvanor

# "*" is this station's workgroup, WG. The text is a signature of 2,400 characters (set in the settings: typing it
# would take long), more than six datagrams hold; each part must fit one, so that every character arrives.
set_host_name h1 H1 WG
export PILVANOR_SMB_CONF
PILVANOR_SMB_CONF=$(samba_conf h1)
new_home broadcast
signature=$(for i in $(seq 1 36); do
    ((i % 4 != 1 || i == 1)) || printf '¶'
    printf 'Line %02d of a long text sent to every station of the workgroup WG. ' "$i"
done)
mkdir -p "$(dirname "$CONF")"
printf '[Signature]\nAjouterAutomatiquement=1\nTexte=%s\n' "$signature" >"$CONF"
printf 'x\n\n%s' "${signature//¶/$'\n'}" >"$WORK/sent"
start_pilvanor_in_h1
to_recipient
xdotool type --delay 20 '*'
xdotool key Return
xdotool type --delay 20 'x'
xdotool key ctrl+Return
wait_state "$MAIN_ID" Iconic || fail "the main window did not minimise after the send to *"
wait_history 'WG*|x'
# received H FIRST: H's pop-ups from the FIRST on, in the order of their "[nn/NN]" headers, headers off.
received() {
    local h=$1 i n parts
    wait_popups "$h" "$2"
    parts=$(popup_body "$h" "$2" | head -n 1 | sed -n 's|^\[01/\([0-9]*\)\]$|\1|p')
    [ -n "$parts" ] || fail "$h's first part has no header: <$(popup_body "$h" "$2" | head -n 1)>"
    wait_popups "$h" $(($2 + 10#$parts - 1))
    for i in $(seq "$2" $(($2 + 10#$parts - 1))); do
        popup_body "$h" "$i" >"$WORK/part"
        n=$(head -n 1 "$WORK/part" | sed -n "s|^\[\([0-9]*\)/$parts\]\$|\1|p")
        [ -n "$n" ] || fail "$h's pop-up $i is no part of $parts: <$(head -n 1 "$WORK/part")>"
        tail -n +2 "$WORK/part" >"$WORK/$h.part.$n"
    done
    cat "$WORK/$h.part."*
}
received h3 2 >"$WORK/h3.text"
received h4 1 >"$WORK/h4.text"
for h in h3 h4; do
    cmp "$WORK/sent" "$WORK/$h.text" || fail "$h received <$(cat "$WORK/$h.text")>"$'\n'"sent <$(cat "$WORK/sent")>"
done
quit_pilvanor
echo "PASS send end to end"
