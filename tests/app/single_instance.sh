#!/usr/bin/env bash
# A second start brings the first instance forward and ends without touching any setting.
source "$(dirname "$0")/lib.sh"
start_x
new_home one

start_pilvanor
first=$PILVANOR_PID
id=$(wait_window Pilvanor) || fail "the main window did not appear"
xdotool windowminimize "$id"
wait_state "$id" Iconic || fail "the window did not minimise"
before=$(sha256sum "$CONF" 2>/dev/null || echo none)

"$PILVANOR" >"$WORK/second.log" 2>&1 &
second=$!
wait_exit "$second" || fail "the second instance kept running"
wait "$second" || fail "the second instance ended with an error: $(cat "$WORK/second.log")"
kill -0 "$first" || fail "the first instance ended"
wait_state "$id" Normal || fail "the first instance did not come forward"
[ "$(sha256sum "$CONF" 2>/dev/null || echo none)" = "$before" ] || fail "the second instance changed the settings"

# Another user (another HOME) runs an instance of their own.
new_home two
start_pilvanor
other=$PILVANOR_PID
two_windows() { [ "$(xdotool search --onlyvisible --name '^Pilvanor$' | wc -l)" -ge 2 ]; }
poll 10 two_windows || fail "another user's instance showed no window"
kill -0 "$other" || fail "another user's instance was refused"
echo "PASS single instance"
