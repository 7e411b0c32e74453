#!/usr/bin/env bash
# Samba's smbclient -M delivers to pilvanor-messenger on TCP 139 of another host, by address and by name
# (a NetBIOS broadcast query the service answers); a name the service does not hold is refused, and smbclient's
# retry as *SMBSERVER taken, as smbd takes it.
source "$(dirname "$0")/lib.sh"
need_root_netns
need smbclient perl
messenger=$(pv_bin pilvanor-messenger)

make_lan 2
set_host_name h1 PEERA
SPOOL="$DIR_h2/spool"
start_in h2 messenger "$messenger" --foreground --port 139 --name BOB --spool "$SPOOL"
wait_port h2 139

popup() { find "$SPOOL" -maxdepth 1 -name '*.popup' | sort | sed -n "$1p"; }
# field I KEY: a header value of the I-th pop-up; body I: its text after the pop-up's own header and empty line.
field() { sed -n "s/^$2: //p" "$(popup "$1")" | head -n 1; }
body() { perl -0777 -pe 's/\A.*?\n\n.*?\r\n\r\n//s' "$(popup "$1")"; }

count=0
# send [ADDRESS] TEXT: smbclient to BOB; the newest pop-up must hold TEXT with CR LF line ends.
send() {
    local address=$1 text=$2 out status=0 expected fields key
    out=$(printf '%s' "$text" | send_with_smbclient h1 BOB "$address" 2>&1) || status=$?
    [ "$status" = 0 ] && ! grep -q NT_STATUS <<<"$out" || fail "smbclient -M BOB: status $status: $out"
    count=$((count + 1))
    [ -n "$(popup "$count")" ] || fail "no pop-up $count after: $out"
    expected=$(printf '%s' "$text" | perl -pe 's/\n/\r\n/g'; echo .)
    [ "$(body "$count"; echo .)" = "$expected" ] || fail "pop-up $count holds <$(body "$count")>, sent <$text>"
    fields=$(for key in From To Peer Title; do printf '%s|' "$(field "$count" "$key")"; done)
    [ "$fields" = "alice|BOB|$IP_h1|Messenger Service |" ] || fail "pop-up $count from, to, peer, title: <$fields>"
}

send "$IP_h2" $'Hello\n'
line="The quick brown fox jumps over the lazy dog; "
long=$(printf "$line%.0s" $(seq 1 40))
send "$IP_h2" "${long:0:300}"
send "$IP_h2" "${long:0:1500}"
# One block: smbclient cuts its UTF-8 input at 127 bytes and could split a character.
send "$IP_h2" $'Réunion à 14 h, salle « Où ça ? ».\nÀ bientôt, Hélène.\n'
send "$IP_h2" $'one\ntwo\n\nfour\n'
# No address: smbclient asks for BOB<03> by broadcast, which the service answers.
send "" $'Found by name\n'

out=$(printf 'Nobody\n' | send_with_smbclient h1 CAROL "$IP_h2" 2>&1) || fail "smbclient -M CAROL failed: $out"
[ "$(field $((count + 1)) To)" = CAROL ] || fail "smbclient -M CAROL: $out"

echo "PASS smbclient to pilvanor-messenger"
