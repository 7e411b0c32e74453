#!/usr/bin/env bash
# Time of one message, on demand, in a 2-host LAN, each sender a process per message as a script would run it:
#   - through smbd (h2): pilvanor-send against smbclient -M, same text, same smbd;
#   - to pilvanor-messenger on h1's loopback: pilvanor-send against floor_send, a minimal static C client doing the
#     same exchange (session request to *SMBSERVER, D5, D7, D6), which is as fast as a sender can be;
#   - the senders' own CPU time (user + system), which the receivers' costs do not blur.
# smbd's message command is /bin/true, which costs nothing: smbd leaves each message in its TMPDIR, where it is
# counted. pilvanor-messenger syncs every message to disk before it answers, which both of its senders wait for.
# Usage (root): cmake --build BUILD --target floor_send && bash bench/bench_send.sh BUILD/bin [N]   (default N 200)
source "$(dirname "$0")/../tests/interop/lib.sh"
need_root_netns
need smbd smbclient
send_bin=$(pv_bin pilvanor-send)
floor_bin=$(pv_bin floor_send)
messenger=$(pv_bin pilvanor-messenger)
n=${2:-200}
load_before=$(cut -d' ' -f1-3 /proc/loadavg)

make_lan 2
inbox="$DIR_h2/tmp"
start_smbd h2 PEERB TESTWG /bin/true
set_host_name h1 PEERA TESTWG
start_in h1 messenger "$messenger" --foreground --bind 127.0.0.1 --port 139 --no-udp --name BOB --spool "$DIR_h1/spool"
wait_port h2 139
wait_port h1 139
text="Benchmark message: the meeting moves to room 4 at 14:00."

# Inside h1, one namespace entry for the whole run; the senders take turns, so that a change of load on the machine
# hits all alike. One line per round: µs of each send, then µs of CPU of each sender (in the same order), then µs of
# the loop alone. Any failed send stops the benchmark.
cat >"$WORK/rounds.sh" <<'ROUNDS'
n=$1 text=$2 send=$3 floor=$4 conf=$5 ip=$6
# CPU: the children's CPU so far, in µs (the second line of bash's times; no subshell, which would count its own).
cpu() {
    local line
    times >"$WORK_ROUNDS/cpu.times"
    { read -r _ && read -r line; } <"$WORK_ROUNDS/cpu.times"
    [[ $line =~ ([0-9]+)m([0-9]+)\.([0-9]+)s\ ([0-9]+)m([0-9]+)\.([0-9]+)s ]]
    local -a m=("${BASH_REMATCH[@]}")
    CPU=$((((m[1] * 60 + 10#${m[2]}) * 1000 + 10#${m[3]} + (m[4] * 60 + 10#${m[5]}) * 1000 + 10#${m[6]}) * 1000))
}
# One send, its text on standard input: prints "wall_µs cpu_µs".
one() {
    local c0 t0 t1
    cpu
    c0=$CPU
    t0=${EPOCHREALTIME/./}
    "$@" <<<"$text" >"$WORK_ROUNDS/out" 2>&1 || { echo "failed: $*" >&2 && cat "$WORK_ROUNDS/out" >&2 && exit 1; }
    t1=${EPOCHREALTIME/./}
    cpu
    echo "$((t1 - t0)) $((CPU - c0))"
}
for ((i = 1; i <= n; i++)); do
    read -r w1 c1 < <(one "$send" --from alice "$ip")
    read -r w2 c2 < <(one smbclient --configfile="$conf" -M PEERB -I "$ip" -U alice -n PEERA -N)
    read -r w3 c3 < <(one "$floor" "$ip" 139 alice PEERB)
    read -r w4 c4 < <(one "$send" --from alice 127.0.0.1)
    read -r w5 c5 < <(one "$floor" 127.0.0.1 139 alice BOB)
    read -r w6 c6 < <(one /bin/true)
    for v in "$w1" "$w2" "$w3" "$w4" "$w5" "$w6"; do
        [ -n "$v" ] || exit 1
    done
    echo "$w1 $w2 $w3 $w4 $w5 $w6 $c1 $c2 $c3 $c4 $c5"
done
ROUNDS
times="$WORK/times"
in_host h1 env WORK_ROUNDS="$WORK" bash "$WORK/rounds.sh" "$n" "$text" "$send_bin" "$floor_bin" "$(samba_conf h1)" \
    "$IP_h2" >"$times" || fail "a send failed"
[ "$(wc -l <"$times")" = "$n" ] || fail "a send failed after $(wc -l <"$times") rounds"

for _ in $(seq 1 100); do
    [ "$(find "$inbox" -name 'msg.*' | wc -l)" -ge $((3 * n)) ] && break
    sleep 0.1
done
summary=$(find "$inbox" -name 'msg.*' -exec cat {} + | tr -d '\r' | sort | uniq -c | sed 's/^ *//')
[ "$summary" = "$((3 * n)) $text" ] || fail "smbd's folder holds: $summary"
popups=$(find "$DIR_h1/spool" -name '*.popup' | wc -l)
[ "$popups" = $((2 * n)) ] || fail "pilvanor-messenger holds $popups pop-ups, not $((2 * n))"

# median COLUMN: the median of a column of the times, in ms (a busy machine's outliers do not move it).
median() { cut -d' ' -f"$1" "$times" | sort -n | awk '{ v[NR] = $1 } END { printf "%.3f", v[int((NR + 1) / 2)] / 1000 }'; }
mean() { awk -v c="$1" '{ s += $c } END { printf "%.3f", s / NR / 1000 }' "$times"; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", a / b }'; }
echo "machine load (1, 5, 15 min): $load_before before, $(cut -d' ' -f1-3 /proc/loadavg) after; $(nproc) cores"
echo "messages per sender:   $n (all delivered: $((3 * n)) to smbd, $((2 * n)) to pilvanor-messenger)"
echo "through smbd, ms per message (median; mean):"
echo "  pilvanor-send        $(median 1) ($(mean 1))"
echo "  smbclient -M         $(median 2) ($(mean 2))"
echo "  floor_send           $(median 3) ($(mean 3))"
echo "  ratio pilvanor-send / smbclient -M: $(ratio "$(median 1)" "$(median 2)") (target <= 0.25)"
echo "to pilvanor-messenger on loopback, ms per message (median; mean):"
echo "  pilvanor-send        $(median 4) ($(mean 4))"
echo "  floor_send           $(median 5) ($(mean 5))"
echo "  ratio pilvanor-send / floor_send: $(ratio "$(median 4)" "$(median 5)") (target <= 1.5)"
echo "the senders' own CPU, ms per message (mean of user + system, both receivers):"
echo "  pilvanor-send        $(mean 7) to smbd, $(mean 10) to pilvanor-messenger"
echo "  smbclient -M         $(mean 8)"
echo "  floor_send           $(mean 9) to smbd, $(mean 11) to pilvanor-messenger"
echo "  ratio pilvanor-send / floor_send: $(ratio "$(mean 10)" "$(mean 11)") (loopback)"
echo "the loop alone:        $(median 6) ms per round (bash running /bin/true)"
