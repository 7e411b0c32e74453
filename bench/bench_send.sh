#!/usr/bin/env bash
# Time of one message: pilvanor-send against smbclient -M, same text, same smbd, in a 2-host LAN.
# Run on demand, as root: bash bench/bench_send.sh BIN_DIR [N]   (N messages each, default 200)
source "$(dirname "$0")/../tests/interop/lib.sh"
need_root_netns
need smbd smbclient
send_bin=$(pv_bin pilvanor-send)
n=${2:-200}

make_lan 2
# The receiver's cost is the same for both senders: the cheapest message command keeps it small, so that the
# senders' own costs show. smbd leaves each message in its TMPDIR, where it is counted.
inbox="$DIR_h2/tmp"
start_smbd h2 PEERB TESTWG /bin/true
set_host_name h1 PEERA TESTWG
wait_port h2 139
text="Benchmark message: the meeting moves to room 4 at 14:00."

# Inside h1, one namespace entry for the whole run; the two senders take turns, so that a change of load on the
# machine hits both alike. One line per round: µs of pilvanor-send, of smbclient, of the loop alone (/bin/true).
# Any failed send stops the benchmark.
times="$WORK/times"
in_host h1 bash -c '
    n=$1 text=$2 send=$3 conf=$4 ip=$5
    for ((i = 1; i <= n; i++)); do
        t0=${EPOCHREALTIME/./}
        printf "%s\n" "$text" | "$send" --from alice "$ip" >/dev/null 2>&1 || exit 1
        t1=${EPOCHREALTIME/./}
        printf "%s\n" "$text" | smbclient --configfile="$conf" -M PEERB -I "$ip" -U alice -n PEERA -N >/dev/null 2>&1 || exit 1
        t2=${EPOCHREALTIME/./}
        printf "%s\n" "$text" | /bin/true
        t3=${EPOCHREALTIME/./}
        echo $((t1 - t0)) $((t2 - t1)) $((t3 - t2))
    done' bench "$n" "$text" "$send_bin" "$(samba_conf h1)" "$IP_h2" >"$times" || fail "a send failed"

for _ in $(seq 1 100); do
    [ "$(find "$inbox" -name 'msg.*' | wc -l)" -ge $((2 * n)) ] && break
    sleep 0.1
done
summary=$(find "$inbox" -name 'msg.*' -exec cat {} + | sort | uniq -c | sed 's/^ *//')
[ "$summary" = "$((2 * n)) $text" ] || fail "the inbox holds: $summary"

# median COLUMN: the median of a column of the times, in ms (a busy machine's outliers do not move it).
median() { cut -d' ' -f"$1" "$times" | sort -n | awk '{ v[NR] = $1 } END { printf "%.2f", v[int((NR + 1) / 2)] / 1000 }'; }
mean() { awk -v c="$1" '{ s += $c } END { printf "%.2f", s / NR / 1000 }' "$times"; }
ours=$(median 1) theirs=$(median 2)
echo "messages per program:   $n (all $((2 * n)) delivered)"
echo "pilvanor-send:          $ours ms per message (median; mean $(mean 1))"
echo "smbclient -M:           $theirs ms per message (median; mean $(mean 2))"
echo "the loop alone:         $(median 3) ms per round (printf | /bin/true)"
awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "ratio (target <= 0.30): %.3f\n", a / b }'
