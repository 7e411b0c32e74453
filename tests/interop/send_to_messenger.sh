#!/usr/bin/env bash
# pilvanor-send to pilvanor-messenger: a message found by NetBIOS name, one sent to an address, a domain
# broadcast that reaches the services of two hosts, and a workgroup listing that finds them beside Samba.
source "$(dirname "$0")/lib.sh"
need_root_netns
need nmblookup
send_bin=$(pv_bin pilvanor-send)
service_bin=$(pv_bin pilvanor-messenger)

make_lan 4
start_smbd h4 PEERB TESTWG
start_nmbd h4
for h in h2 h3; do
    start_in "$h" messenger "$service_bin" --foreground --spool "$WORK/$h/spool" --name "PEER${h^^}" --workgroup TESTWG
done
wait_name h1 'PEERH2#03' >/dev/null
wait_name h1 'PEERH3#03' >/dev/null

out=$(printf 'Hello\nPEERH2\n' | in_host h1 "$send_bin" --from alice PEERH2 2>&1) || fail "pilvanor-send PEERH2: $out"
wait_popups h2 1
[ "$(popup_body h2 1)" = $'Hello\nPEERH2' ] || fail "h2's pop-up: <$(popup_body h2 1)>"

# One mailslot write holds 424 bytes: From\0To\0Text\0 with "alice" and "TESTWG*" leaves 409 for the text.
long=$(seq -f '%04g,' 1 100 | tr -d '\n')
out=$(in_host h1 "$send_bin" --from alice 'TESTWG*' "$long" 2>&1) || fail "pilvanor-send TESTWG*: $out"
[ "$out" = "Message broadcast to TESTWG*." ] || fail "pilvanor-send TESTWG* said: $out"
wait_popups h2 2
wait_popups h3 1
[ "$(popup_body h2 2)" = "${long:0:409}" ] || fail "h2's broadcast pop-up: <$(popup_body h2 2)>"
[ "$(popup_body h3 1)" = "${long:0:409}" ] || fail "h3's broadcast pop-up: <$(popup_body h3 1)>"

# By address: the node status tells the sender which messenger name to call.
out=$(in_host h1 "$send_bin" --from alice "$IP_h3" 'By address' 2>&1) || fail "pilvanor-send $IP_h3: $out"
wait_popups h3 2
[ "$(popup_body h3 2)" = 'By address' ] || fail "h3's pop-up by address: <$(popup_body h3 2)>"

wait_name h1 'PEERB#00' >/dev/null
listed=$(in_host h1 "$send_bin" --timeout 1500 --list TESTWG | tr '\n' ' ')
expected=$(printf '%s\n' PEERB PEERH2 PEERH3 "$(machine_name)" | LC_ALL=C sort -u | tr '\n' ' ')
[ "$listed" = "$expected" ] || fail "the TESTWG listing found <$listed>, expected <$expected>"

echo "PASS pilvanor-send to pilvanor-messenger"
