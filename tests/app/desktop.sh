#!/usr/bin/env bash
# The real program under Xvfb and openbox: captions, hot key, close box, kept position.
source "$(dirname "$0")/lib.sh"
start_x
new_home user

# English by default.
start_pilvanor
id=$(wait_window Pilvanor) || fail "the main window did not appear"
shot pilvanor-eng.png

# The hot key brings a minimised window back.
xdotool windowminimize "$id"
wait_state "$id" Iconic || fail "the window did not minimise"
xdotool key ctrl+alt+m
wait_state "$id" Normal || fail "Ctrl+Alt+M did not bring the window back"

# Typed in the preferences' hot-key box, the registered chord is read, not taken by the grab; OK keeps it working.
hot_key_free && fail "Ctrl+Alt+M is not grabbed"
open_menu alt+f
xdotool key p
prefs_id=$(wait_window Preferences) || fail "the preferences did not open"
xdotool windowactivate --sync "$prefs_id" key alt+h
wait_for "the hot-key box kept the grab" 5 hot_key_free
xdotool key ctrl+alt+m Tab Tab Return # past the Font... button
wait_gone Preferences || fail "OK did not close the preferences"
[ "$(setting TouchesAccesRapide)" = 3,77 ] || fail "hot key saved as '$(setting TouchesAccesRapide)'"
xdotool windowminimize "$id"
wait_state "$id" Iconic || fail "the window did not minimise"
xdotool key ctrl+alt+m
wait_state "$id" Normal || fail "Ctrl+Alt+M did not bring the window back after the preferences"

# Moved, then closed by the close box: the position is kept.
xdotool windowmove "$id" 40 60
xdotool windowsize "$id" 600 500
wait_for "the window was not resized" 5 _geometry "$id" 600x500
xdotool windowactivate --sync "$id" key alt+F4
wait_exit "$PILVANOR_PID" || fail "the close box did not end the program"
position=$(setting PositionTailleFenetrePrincipale)
[[ "$position" =~ ^[0-9]+,[0-9]+,600,500$ ]] || fail "position not kept: '$position'"
[ "$(setting EncrypterMessage)" = 0 ] || fail "check boxes not saved"

# Restored where it was at the next start; the close box minimises when asked to.
sed -i -e '/^MinimiserBoutonX=/d' -e '/^Langue=/d' -e 's/^\[General\]$/&\nMinimiserBoutonX=1\nLangue=FRA/' "$CONF"
start_pilvanor
id=$(wait_window Pilvanor) || fail "the main window did not reappear"
poll 5 _geometry "$id" 600x500 || fail "size not restored: $(xdotool getwindowgeometry "$id")"
shot pilvanor-fra.png
xdotool windowactivate --sync "$id" key alt+F4
wait_state "$id" Iconic || fail "the close box did not minimise"
kill -0 "$PILVANOR_PID" || fail "the close box ended the program"
position=$(setting PositionTailleFenetrePrincipale)

# SIGTERM ends it like the Quit menu; a minimised window does not overwrite the kept position.
quit_pilvanor
[ "$(setting PositionTailleFenetrePrincipale)" = "$position" ] || fail "a minimised window overwrote the position"

# Settings that cannot be written at shut-down are reported on stderr, not in a box that would keep the program
# alive after SIGTERM; a box already open when SIGTERM comes goes with the program.
break_settings() { rm -rf "$HOME/.config/Pilvanor" && mkdir -p "$HOME/.config" && touch "$HOME/.config/Pilvanor"; }
start_pilvanor
wait_window Pilvanor >/dev/null || fail "the main window did not come back"
break_settings
kill -TERM "$PILVANOR_PID"
wait_exit "$PILVANOR_PID" || fail "a write error at shut-down kept the program alive after SIGTERM"
grep -q "Impossible d'écrire $HOME/.config/Pilvanor/Pilvanor.conf" "$WORK/pilvanor.log" ||
    fail "the write error was not reported: $(cat "$WORK/pilvanor.log")"
new_home shutdown
start_pilvanor
id=$(wait_window Pilvanor) || fail "the main window did not appear for a new user"
break_settings
xdotool windowactivate --sync "$id" key alt+F4
two_named_pilvanor() { [ "$(xdotool search --onlyvisible --name '^Pilvanor$' | wc -l)" -ge 2 ]; }
wait_for "no box said the settings are unwritable" 5 two_named_pilvanor
kill -TERM "$PILVANOR_PID"
wait_exit "$PILVANOR_PID" || fail "an open box kept the program alive after SIGTERM"
echo "PASS desktop"
