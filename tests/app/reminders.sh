#!/usr/bin/env bash
# Reminders in the real program: one due at start fires into its window, the window's button plans it again
# when asked to, the title bar does not; the list window shows and edits the stored ones.
source "$(dirname "$0")/lib.sh"
start_x
new_home user

# The value of a reminder, whatever section holds the key.
reminder() { sed -n "s/^$1=//p" "$CONF" | head -n 1; }

now=$(date +%Y%m%d%H%M)
tomorrow=$(date -d tomorrow +%Y%m%d)
mkdir -p "$(dirname "$CONF")"
cat >"$CONF" <<EOF
[Rappel]
20240105081500=2|$tomorrow|0900|Team meeting in room 4|1,3,5
20240312120000=1|$tomorrow|1230|Lunch with the sales team
20200101000000=0|${now:0:8}|${now:8:4}|Call Bob¶before noon
20240601170000=0|20991231|2359|Renew the server certificate
EOF

start_pilvanor
main=$(wait_window Pilvanor) || fail "the main window did not appear"
id=$(wait_window "Pilvanor Reminder") || fail "the due reminder did not fire"
[ -z "$(reminder 20200101000000)" ] || fail "a fired reminder stayed in the store"

# Ticked "Repeat in" with its 15 minutes, closed with the window's button (bottom right).
xdotool windowactivate --sync "$id" key alt+e
# The shortcut ticks the box 100 ms later, and nothing outside the program shows it: the one fixed wait left.
sleep 0.3
shot pilvanor-reminder-fired.png
eval "$(xdotool getwindowgeometry --shell "$id")"
before=$(date -d '+15 min' +%Y%m%d%H%M)
xdotool mousemove --window "$id" $((WIDTH - 30)) $((HEIGHT - 22)) click 1
after=$(date -d '+15 min' +%Y%m%d%H%M)
wait_gone "Pilvanor Reminder" || fail "the button did not close the reminder"
value=$(reminder 20200101000000)
[ "$value" = "0|${before:0:8}|${before:8:4}|Call Bob¶before noon" ] \
    || [ "$value" = "0|${after:0:8}|${after:8:4}|Call Bob¶before noon" ] \
    || fail "not planned 15 minutes ahead: '$value' (now $(date +%H%M))"

# The list window from the File menu, a weekly reminder open for modification.
xdotool windowactivate --sync "$main" key alt+f r
list=$(wait_window Reminders) || fail "the reminder list did not open"
xdotool windowactivate --sync "$list" key alt+m
shot pilvanor-reminders.png
# A shortcut clicks its button a moment later: Close is pressed again until Cancel has ended the modification.
xdotool key alt+n
close_list() { _no_window Reminders || { xdotool key alt+c && wait_gone Reminders; }; }
wait_for "the reminder list did not close" 10 close_list
[[ "$(setting PositionTailleFenetreMAJRappel)" =~ ^-?[0-9]+,-?[0-9]+,[0-9]+,[0-9]+$ ]] \
    || fail "the list window's position was not kept"

# A daily reminder comes due while running; closed by the title bar it is not planned again.
now=$(date +%Y%m%d%H%M)
sed -i "/^\[Rappel\]/a 20200101000001=1|${now:0:8}|${now:8:4}|Stretch" "$CONF"
id=$(wait_window "Pilvanor Reminder") || fail "the daily reminder did not fire"
xdotool windowactivate --sync "$id" key alt+F4
wait_gone "Pilvanor Reminder" || fail "the title bar did not close the reminder"
quit_pilvanor # what closing wrote is in the settings now
[ -z "$(reminder 20200101000001)" ] || fail "the title bar planned the reminder again"
[ -n "$(reminder 20240105081500)" ] || fail "another reminder was lost"
echo "PASS reminders"
