#!/usr/bin/env bash
# pilvanor-send against real Samba: texts reach smbd exactly as sent, by address and by NetBIOS name,
# and each way of failing gives 2273 within its time-out.
source "$(dirname "$0")/lib.sh"
need_root_netns
need smbd nmbd nmblookup
send_bin=$(pv_bin pilvanor-send)

make_lan 3
start_smbd h2 PEERB TESTWG
start_nmbd h2
wait_port h2 139
wait_name h1 'PEERB#03' >/dev/null

# run_send ARGS…: pilvanor-send in h1 as alice, standard input from $INPUT; sets OUT, STATUS and MS (elapsed).
run_send() {
    local start
    start=$(date +%s%N)
    STATUS=0
    OUT=$(printf '%s' "${INPUT:-}" | in_host h1 "$send_bin" --from alice "$@" 2>&1) || STATUS=$?
    MS=$((($(date +%s%N) - start) / 1000000))
}

count=0
# deliver STATION TEXT [EXPECTED]: TEXT sent on standard input arrives whole at h2 as EXPECTED (default TEXT).
deliver() {
    local expected=${3-$2}
    INPUT=$2 run_send "$1"
    [ "$STATUS" = 0 ] && [ "$OUT" = "Message delivered to $1." ] || fail "pilvanor-send $1 ended with $STATUS: $OUT"
    count=$((count + 1))
    wait_messages h2 "$count"
    [ "$(message_text h2 "$count"; echo .)" = "$expected." ] ||
        fail "message $count arrived as <$(message_text h2 "$count")>, expected <$expected>"
    # By name the called name is PEERB (by address *SMBSERVER, which smbd replaces); the calling name is the sender's.
    [ "$(message_meta h2 "$count" from)" = alice ] || fail "message $count sender: $(message_meta h2 "$count" from)"
    [ "$1" != PEERB ] || [ "$(message_meta h2 "$count" to)" = peerb ] ||
        fail "message $count called name: $(message_meta h2 "$count" to)"
    [ "$(message_meta h2 "$count" machine)" = alice ] || fail "message $count calling name: $(message_meta h2 "$count" machine)"
    [ "$(message_meta h2 "$count" ip)" = "$IP_h1" ] || fail "message $count client address: $(message_meta h2 "$count" ip)"
}

# numbers N: "0001,0002,…", 5 characters per number, so that a lost or reordered block shows.
numbers() { seq -f '%04g,' 1 "$1" | tr -d '\n'; }

deliver "$IP_h2" "Hello"
deliver PEERB "$(numbers 60)"
deliver "$IP_h2" "$(numbers 300)"
# Every character is in CP850; more than one 128-byte block, so a block boundary falls inside the text.
french=$'Bonjour Émile,\nRéunion à 14 h, salle « Où ça ? », près de l\'Île-de-France.\n'
french+=$'À bientôt ! Hélène, Françoise et Jérôme. Ça coûte 5 £ ; ½ tarif pour les garçons.\n'
deliver PEERB "$french"
deliver "$IP_h2" $'one\r\ntwo\rthree\n\rfour\n\nsix\n' $'one\ntwo\nthree\nfour\n\nsix\n'
part="[01/02] $(numbers 176)"
deliver PEERB "$part"
# The text may come from the arguments too, joined by blanks.
INPUT="" run_send PEERB Good bye
[ "$STATUS" = 0 ] || fail "pilvanor-send with the text in its arguments: $OUT"
wait_messages h2 $((count + 1))
[ "$(message_text h2 $((count + 1)))" = "Good bye" ] || fail "arguments arrived as <$(message_text h2 $((count + 1)))>"

# expect_2273 MAX_MS ARGS…: pilvanor-send fails with 2273 in at most MAX_MS.
expect_2273() {
    local limit=$1
    shift
    INPUT=x run_send "$@"
    [ "$STATUS" = 1 ] && grep -q '^Message not delivered to .*(2273)\.$' <<<"$OUT" ||
        fail "pilvanor-send $* ended with $STATUS: $OUT"
    [ "$MS" -le "$limit" ] || fail "pilvanor-send $* took $MS ms (limit $limit)"
}
expect_2273 1500 --timeout 1000 "$IP_h3"          # h3 runs no Samba: refused
expect_2273 2500 --timeout 1000 "$LAN_NET.200"    # no host there: the connection times out
[ "$MS" -ge 950 ] || fail "gave up on $LAN_NET.200 after $MS ms, before the time-out"
expect_2273 2500 --timeout 500 NOSUCHPEER         # nobody answers NOSUCHPEER<03> nor <00>, asked together
[ "$MS" -ge 450 ] || fail "gave up on NOSUCHPEER after $MS ms, before the 500 ms of the queries"
start_smbd h3 PEERC TESTWG ""                     # smbd refusing messages
wait_port h3 139
expect_2273 1500 --timeout 1000 "$IP_h3"
INPUT=x run_send 'A*B'
[ "$STATUS" = 2 ] && grep -q '(123)' <<<"$OUT" || fail "an invalid name ended with $STATUS: $OUT"
[ "$(messages h2 | wc -l)" = $((count + 1)) ] || fail "h2 received $(messages h2 | wc -l) messages"

echo "PASS pilvanor-send to smbd"
