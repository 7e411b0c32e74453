#!/usr/bin/env bash
# The harness itself against real Samba: smbclient delivers to smbd, nmbd answers broadcast queries,
# and an smbd without a message command refuses messages.
source "$(dirname "$0")/lib.sh"
need_root_netns
need smbd nmbd smbclient nmblookup

make_lan 3
# h2: a peer taking messages and answering for its names; h3: smbd only, no message command.
start_smbd h2 PEERB TESTWG
start_nmbd h2
start_smbd h3 PEERC TESTWG ""
set_host_name h1 PEERA TESTWG
wait_port h2 139
wait_port h3 139

# send FROM NAME IP TEXT: sends and checks that smbclient reported nothing wrong.
send() {
    local out status=0
    out=$(printf '%s' "$4" | send_with_smbclient "$1" "$2" "$3" 2>&1) || status=$?
    [ "$status" = 0 ] || fail "smbclient -M $2 ended with $status: $out"
    ! grep -q NT_STATUS <<<"$out" || fail "smbclient -M $2: $out"
}

# expect_message I TEXT: h2's I-th message is TEXT, from alice at PEERA (h1).
expect_message() {
    wait_messages h2 "$1"
    [ "$(message_text h2 "$1"; echo .)" = "$2." ] ||
        fail "message $1 arrived as <$(message_text h2 "$1")>, expected <$2>"
    [ "$(message_meta h2 "$1" from)" = alice ] || fail "message $1 sender: $(message_meta h2 "$1" from)"
    [ "$(message_meta h2 "$1" to)" = peerb ] || fail "message $1 called name: $(message_meta h2 "$1" to)"
    [ "$(message_meta h2 "$1" machine)" = peera ] || fail "message $1 calling name: $(message_meta h2 "$1" machine)"
    [ "$(message_meta h2 "$1" ip)" = "$IP_h1" ] || fail "message $1 client address: $(message_meta h2 "$1" ip)"
}

send h1 PEERB "$IP_h2" $'Hello\n'
expect_message 1 $'Hello\n'

# Goes out in CP850 and comes back as UTF-8; another code page on either side garbles À and Î.
# One text block: smbclient cuts at 127 UTF-8 bytes and may split a character.
french=$'Bonjour Émile,\nRéunion à 14 h, salle « Où ça ? ».\nÀ bientôt ! Hélène, Île-de-France.\n'
send h1 PEERB "$IP_h2" "$french"
expect_message 2 "$french"

# Several text blocks (smbclient cuts at 127 bytes); lines keep their order and nothing is lost.
long=""
for i in $(seq 1 12); do long+="Line $i of a message that needs several text blocks to travel."$'\n'; done
send h1 PEERB "$IP_h2" "$long"
expect_message 3 "$long"

# No message command: smbd refuses, and smbclient says so (yet ends with 0).
out=$(printf 'Refused\n' | send_with_smbclient h1 PEERC "$IP_h3" 2>&1) || fail "smbclient -M PEERC failed to connect: $out"
grep -q 'cli_message returned NT_STATUS_REQUEST_NOT_ACCEPTED' <<<"$out" ||
    fail "smbd without a message command did not refuse: $out"
[ "$(messages h2 | wc -l)" = 3 ] || fail "h2 received $(messages h2 | wc -l) messages, expected 3"

# nmbd on h2 answers broadcast queries for its names, and only for them.
for name in 'PEERB#03' 'PEERB#00' 'TESTWG#00'; do
    address=$(wait_name h1 "$name")
    [ "$address" = "$IP_h2" ] || fail "$name was answered by $address, not by h2 ($IP_h2)"
done
for name in 'PEERC#03' 'NOSUCHPEER#03'; do
    out=$(samba_client h1 nmblookup -B "$LAN_BCAST" "$name" 2>&1 || true)
    grep -q 'name_query failed' <<<"$out" || fail "a broadcast query for $name was answered: $out"
done

# Without an address, smbclient finds PEERB<03> by broadcast: nmbd has to answer it.
send h1 PEERB "" $'Found by name\n'
expect_message 4 $'Found by name\n'

echo "PASS samba peers"
