#!/usr/bin/env bash
# Receiving throughput, on demand: MESSAGES messages from SENDERS concurrent senders on h1 into pilvanor-messenger
# (h2) and into smbd (h3), the same client for both; every acknowledged message must then be on disk at the
# receiver. smbd's message command is /bin/true, which costs nothing: smbd writes each message to a file of its
# TMPDIR, runs the command and answers, and the file stays there to be counted. The two do not keep a message alike:
# pilvanor-messenger syncs every message to disk before its answer (a message it acknowledged survives a crash of
# the machine), smbd does not sync at all. Prints messages per second for each receiver and their ratio, once per
# client, with the machine's load:
#   - pilvanor-send, one process per message, by NetBIOS name (the service answers BOB<03>, nmbd PEERC<03>);
#     smbclient -M by address when pilvanor-send is not built;
#   - bench_receive_client, when built (cmake --build BUILD --target bench_receive_client): the same exchange from
#     threads of one process, so that the receivers, not the start-up of a client per message, set the pace.
# Usage (root): bench/bench_receive.sh BIN_DIR [MESSAGES] [SENDERS]
source "$(dirname "$0")/../tests/interop/lib.sh"
need_root_netns
need smbd nmbd smbclient
MESSAGES=${2:-2000}
SENDERS=${3:-16}
count=$((MESSAGES / SENDERS * SENDERS))
messenger=$(pv_bin pilvanor-messenger)

make_lan 3
start_in h2 messenger "$messenger" --foreground --port 139 --name BOB --workgroup TESTWG --spool "$DIR_h2/spool"
start_smbd h3 PEERC TESTWG /bin/true
start_nmbd h3
wait_port h2 139
wait_port h3 139

# One shell per sender inside h1; a line per acknowledged message goes to its output.
cat >"$WORK/sender.sh" <<'SENDER'
#!/bin/bash
# sender.sh SEND_BIN|"" CONF NAME IP FIRST COUNT
send_bin=$1 conf=$2 name=$3 ip=$4 first=$5 count=$6
for ((i = first; i < first + count; i++)); do
    text="bench message $i"
    if [ -n "$send_bin" ]; then
        "$send_bin" --from alice "$name" "$text" >/dev/null 2>&1 && echo "$text"
    else
        out=$(printf '%s' "$text" | smbclient --configfile="$conf" -M "$name" -I "$ip" -U alice -N 2>&1) &&
            ! grep -q NT_STATUS <<<"$out" && echo "$text"
    fi
done
SENDER

# run CLIENT NAME IP: sends and prints the elapsed milliseconds; the acknowledged texts go to $WORK/acked.
run() {
    local client=$1 name=$2 ip=$3 per=$((MESSAGES / SENDERS)) s start send_bin=""
    [ "$client" != pilvanor-send ] || send_bin="$BIN_DIR/pilvanor-send"
    start=$(date +%s%N)
    if [ "$client" = bench_receive_client ]; then
        in_host h1 "$BIN_DIR/bench_receive_client" "$ip" "$name" "$count" "$SENDERS" >"$WORK/acked.0"
    else
        for ((s = 0; s < SENDERS; s++)); do
            in_host h1 bash "$WORK/sender.sh" "$send_bin" "$(samba_conf h1)" "$name" "$ip" $((s * per)) "$per" \
                >"$WORK/acked.$s" &
        done
        wait
    fi
    echo $((($(date +%s%N) - start) / 1000000))
    cat "$WORK"/acked.* >"$WORK/acked"
    rm "$WORK"/acked.*
}

# check WHAT FILE…: every message was acknowledged, and every acknowledged text is in one of the files.
check() {
    local what=$1 acked missing
    shift
    acked=$(wc -l <"$WORK/acked")
    [ "$acked" = "$count" ] || fail "$what: $acked of $count messages acknowledged"
    missing=$(sort "$WORK/acked" | comm -23 - <(grep -h -o 'bench message [0-9]*' "$@" | sort) | wc -l)
    [ "$missing" = 0 ] || fail "$what: $missing acknowledged messages are not on disk"
}

clients=()
if [ -x "$BIN_DIR/pilvanor-send" ]; then
    clients+=(pilvanor-send)
    wait_name h1 'PEERC#03' >/dev/null
else
    clients+=("smbclient -M")
fi
[ ! -x "$BIN_DIR/bench_receive_client" ] || clients+=(bench_receive_client)
set_host_name h1 BENCH

echo "$count messages from $SENDERS concurrent senders"
for client in "${clients[@]}"; do
    find "${DIR_h2:?}/spool" "${DIR_h3:?}/tmp" -maxdepth 1 -type f \( -name '*.popup' -o -name 'msg.*' \) -delete
    load=$(cut -d' ' -f1-3 /proc/loadavg)
    ms_pv=$(run "$client" BOB "$IP_h2")
    check "pilvanor-messenger, $client" "$DIR_h2"/spool/*.popup
    ms_smbd=$(run "$client" PEERC "$IP_h3")
    check "smbd, $client" "$DIR_h3"/tmp/msg.* # written before smbd answers
    awk -v n="$count" -v c="$client" -v a="$ms_pv" -v b="$ms_smbd" -v l="$load" -v l2="$(cut -d' ' -f1-3 /proc/loadavg)" 'BEGIN {
        printf "client %s (machine load %s before, %s after)\n", c, l, l2
        printf "  pilvanor-messenger %8.1f messages/s (%d ms), each synced to disk before its answer\n", n * 1000 / a, a
        printf "  smbd               %8.1f messages/s (%d ms), message command /bin/true, nothing synced\n", n * 1000 / b, b
        printf "  ratio              %8.2f\n", b / a
    }'
done
