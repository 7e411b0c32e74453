#!/usr/bin/env bash
# pilvanor-send to pilvanor-messenger: a message found by NetBIOS name, one sent to an address (also where UDP is
# not served), a domain broadcast that reaches the services of two hosts, and a workgroup listing that finds their
# computer beside Samba's, not their aliases.
source "$(dirname "$0")/lib.sh"
need_root_netns
need nmblookup
send_bin=$(pv_bin pilvanor-send)
service_bin=$(pv_bin pilvanor-messenger)

make_lan 5
start_smbd h4 PEERB TESTWG
start_nmbd h4
mkdir -p "$WORK/h2/spool"
echo JEANPIERRE >"$WORK/h2/spool/names"
for h in h2 h3; do
    start_in "$h" messenger "$service_bin" --foreground --spool "$WORK/$h/spool" --name "PEER${h^^}" --workgroup TESTWG
done
start_in h5 messenger "$service_bin" --foreground --spool "$WORK/h5/spool" --no-udp
wait_name h1 'PEERH2#03' >/dev/null
wait_name h1 'PEERH3#03' >/dev/null

out=$(printf 'Hello\nPEERH2\n' | in_host h1 "$send_bin" --from alice PEERH2 2>&1) || fail "pilvanor-send PEERH2: $out"
expect_popup h2 1 $'Hello\nPEERH2'

# One mailslot write holds 424 bytes: From\0To\0Text\0 with "alice" and "TESTWG*" leaves 409 for the text. A
# longer one is refused, not cut.
long=$(seq -f '%04g,' 1 100 | tr -d '\n')
status=0
out=$(in_host h1 "$send_bin" --from alice 'TESTWG*' "$long" 2>&1) || status=$?
[ "$status" = 2 ] && grep -q 'holds 409' <<<"$out" || fail "a text too long for a datagram gave $status: $out"
out=$(in_host h1 "$send_bin" --from alice 'TESTWG*' "${long:0:409}" 2>&1) || fail "pilvanor-send TESTWG*: $out"
[ "$out" = "Message broadcast to TESTWG*." ] || fail "pilvanor-send TESTWG* said: $out"
expect_popup h2 2 "${long:0:409}"
expect_popup h3 1 "${long:0:409}"

# By address: called as *SMBSERVER, which the service takes, so no name query is needed (h5 answers none).
for h in h3 h5; do
    ip_var="IP_$h"
    out=$(in_host h1 "$send_bin" --from alice "${!ip_var}" "By address to $h" 2>&1) || fail "pilvanor-send $h: $out"
done
expect_popup h3 2 'By address to h3'
expect_popup h5 1 'By address to h5'

# Computers only: the services' names PEERH2 and PEERH3 and h2's alias JEANPIERRE are messenger names.
wait_name h1 'PEERB#00' >/dev/null
wait_name h1 'JEANPIERRE#03' >/dev/null
listed=$(in_host h1 "$send_bin" --timeout 1500 --list TESTWG | tr '\n' ' ')
expected=$(printf '%s\n' PEERB "$(machine_name)" | LC_ALL=C sort -u | tr '\n' ' ')
[ "$listed" = "$expected" ] || fail "the TESTWG listing found <$listed>, expected <$expected>"

echo "PASS pilvanor-send to pilvanor-messenger"
