#!/usr/bin/env bash
# The address book windows of the real program under Xvfb, on a private LAN: the users window adds the stations
# that the domain search finds (nmbd and our message service), then the groups and predefined messages windows
# open from the menus. With PV_SCREENSHOT_DIR set, each window is photographed there.
source "$(dirname "$0")/lib.sh"
use_lan
need nmbd
service_bin=$(pv_bin pilvanor-messenger)
start_x

make_lan 3
set_host_name h1 ACCUEIL COMPTOIR
start_nmbd h2 COMPTA-02 COMPTOIR
start_in h3 messenger "$service_bin" --foreground --spool "$WORK/h3/spool" --name MAGASIN --workgroup COMPTOIR
wait_name h1 'COMPTA-02#00' >/dev/null
wait_name h1 'MAGASIN#03' >/dev/null

new_home user
export PILVANOR_SMB_CONF
PILVANOR_SMB_CONF=$(samba_conf h1)
mkdir -p "$(dirname "$DATA")"
cat >"$DATA" <<'EOF'
[User]
COMPTA-02=Accounts [ground floor]|0
DIRECTION=Management office|0
RECEPTION=Front desk|0
LABO-3=Test bench [lab 3]|1
[Group]
Accounts=COMPTA-02,DIRECTION
Everybody=COMPTA-02,DIRECTION,RECEPTION,LABO-3
[PredefinedMessage]
20240105091500=Please call me back at %MyIPAddress%.¶Thanks, %UserDescription%
20240105091600=Coffee is ready in the kitchen.
20240105091700=The server restarts at %Time% today.
EOF

shot_window() {
    if [ -n "${PV_SCREENSHOT_DIR:-}" ] && command -v import >/dev/null; then
        sleep 0.4
        import -window "$1" "$PV_SCREENSHOT_DIR/$2"
    fi
}
users() { sed -n '/^\[User\]/,/^\[/{/=/p}' "$DATA"; }
menu() {
    xdotool windowactivate --sync "$MAIN_ID" key --delay 100 "$1" "$2"
}

start_pilvanor_in h1
MAIN_ID=$(wait_window Pilvanor) || fail "the main window did not appear"

# Users: the domain search lists the workgroup's computers; everything found is added, a known station stays as it
# is. MAGASIN, a messenger name of h3's service, is no computer.
menu alt+f u
users_id=$(wait_window Users) || fail "the users window did not appear"
xdotool windowactivate --sync "$users_id" key alt+s
search_id=$(wait_window 'Search the domain') || fail "the search window did not appear"
xdotool windowactivate --sync "$search_id" key alt+s
# A broadcast query, then a node status of each member: a few seconds. The list has the focus afterwards.
sleep 4
xdotool windowactivate --sync "$search_id" key ctrl+a
shot_window "$search_id" pilvanor-domain-search.png
xdotool key alt+a
host=$(machine_name)
poll 5 grep -qxF "$host=$host|0" "$DATA" || fail "the search did not add $host: $(users | tr '\n' ' ')"
users | grep -qxF 'COMPTA-02=Accounts [ground floor]|0' || fail "a known station changed: $(users | tr '\n' ' ')"
! users | grep -q '^MAGASIN=' || fail "the search added the alias MAGASIN: $(users | tr '\n' ' ')"

xdotool windowactivate --sync "$users_id" key Down
shot_window "$users_id" pilvanor-users.png
xdotool key Escape
wait_gone Users || fail "Escape did not close the users window"

menu alt+f g
groups_id=$(wait_window Groups) || fail "the groups window did not appear"
xdotool windowactivate --sync "$groups_id" key alt+m
shot_window "$groups_id" pilvanor-groups.png
xdotool key Escape Escape

menu alt+m p
predefined_id=$(wait_window 'Predefined messages') || fail "the predefined messages window did not appear"
xdotool windowactivate --sync "$predefined_id" key --delay 100 alt+m ctrl+End alt+s
# The placeholder menu pops up beside the window: the picture takes both.
if [ -n "${PV_SCREENSHOT_DIR:-}" ] && command -v import >/dev/null; then
    sleep 0.4
    geometry=$(xwininfo -id "$predefined_id")
    x=$(sed -n 's/.*Absolute upper-left X: *//p' <<<"$geometry")
    y=$(sed -n 's/.*Absolute upper-left Y: *//p' <<<"$geometry")
    w=$(sed -n 's/.*Width: *//p' <<<"$geometry")
    h=$(sed -n 's/.*Height: *//p' <<<"$geometry")
    import -window root -crop "$((w + 24))x$h+$x+$y" +repage "$PV_SCREENSHOT_DIR/pilvanor-predefined.png"
fi
# The last item, "Time", goes in at the caret.
xdotool key Up Return
xdotool key --delay 100 Tab Tab space
poll 5 grep -qxF '20240105091500=Please call me back at %MyIPAddress%.¶Thanks, %UserDescription%%Time%' "$DATA" ||
    fail "the placeholder did not go in at the caret: $(grep 20240105091500 "$DATA")"
xdotool key Escape

quit_pilvanor
echo "PASS address book windows"
