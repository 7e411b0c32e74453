#!/usr/bin/env bash
# The preferences of the real program, driven from the keyboard under Xvfb on a private LAN: a new sender name
# becomes a name of this station's message service, so a message another station sends to it arrives here.
source "$(dirname "$0")/lib.sh"
use_lan
service_bin=$(pv_bin pilvanor-messenger)
send_bin=$(pv_bin pilvanor-send)
start_x

make_lan 2
new_home user
spool="$HOME/.local/state/pilvanor/popups"
# This station's service, on the spool of the user who runs pilvanor there.
start_in h1 messenger "$service_bin" --foreground --spool "$spool" --workgroup WG
wait_port h1 139

send_from_h2() {
    in_host h2 "$send_bin" --from ALICE "$@"
}

! send_from_h2 JEANPIERRE 'too early' 2>/dev/null || fail "JEANPIERRE answered before it was a name of h1"

start_pilvanor_in h1
main_id=$(wait_window Pilvanor) || fail "the main window did not appear"

# Help > About.
xdotool windowactivate --sync "$main_id"
open_menu alt+h
xdotool key a
about_id=$(wait_window 'About Pilvanor') || fail "the About box did not open"
shot pilvanor-about.png
xdotool windowactivate --sync "$about_id" key Return
wait_gone 'About Pilvanor' || fail "OK did not close the About box"

# File > Preferences; Ctrl+Tab walks the tabs.
open_menu alt+f
xdotool key p
wait_window Preferences >/dev/null || fail "the preferences did not open"
shot pilvanor-preferences-1.png
xdotool key ctrl+Tab
shot pilvanor-preferences-2.png
xdotool key ctrl+Tab
shot pilvanor-preferences-3.png

# Alt+N reaches the sender name, whose text is then selected; blanks are refused and letters become upper case.
xdotool key alt+n
xdotool type --delay 30 'jean pierre'
xdotool key Return
wait_gone Preferences || fail "OK did not close the preferences"
[ "$(setting Expediteur)" = JEANPIERRE ] || fail "sender saved as '$(setting Expediteur)'"
grep -qx JEANPIERRE "$spool/names" || fail "the service's names: $(cat "$spool/names" 2>/dev/null)"

send_from_h2 JEANPIERRE 'Hello Jean-Pierre' || fail "the message to the new name was not delivered"
incoming_is() { [ "$(pv_history Incoming)" = "$1" ]; }
poll 5 incoming_is 'ALICE|Hello Jean-Pierre' || fail "received history: $(pv_history Incoming)"

quit_pilvanor
echo "PASS preferences end to end"
