#!/usr/bin/env bash
# Time of one send to 200 stations of which 20 never answer the ping, DelaiAttente 500 ms: pings ahead of the send
# loop, concurrently, then strictly one after the other. The stations run no message service, so each send ends at
# once with an error; the ping path is what is measured.
# Run on demand, as root: cmake --build BUILD --target bench_group_send && bash bench/bench_group_send.sh BUILD/bin
source "$(dirname "$0")/../tests/interop/lib.sh"
need_root_netns
need ping
bench_bin=$(pv_bin bench_group_send)

# A sender namespace and a station namespace joined by a veth pair. The stations' 180 addresses sit on the station
# namespace's loopback interface; the other 20 of the /24 are routed there too but fall into a black hole, which drops them silently
# (an "unreachable" reply would count as an answer).
sender="$PV_TAG-sender" stations="$PV_TAG-stations"
_add_ns "$sender" || fail "cannot create namespace $sender"
_add_ns "$stations" || fail "cannot create namespace $stations"
ip -n "$sender" link add eth0 type veth peer name eth0 netns "$stations"
ip -n "$sender" addr add 10.78.0.1/24 dev eth0
ip -n "$stations" addr add 10.78.0.2/24 dev eth0
for ns in "$sender" "$stations"; do
    ip -n "$ns" link set lo up
    ip -n "$ns" link set eth0 up
done
for i in $(seq 1 180); do
    echo "address add 10.78.1.$i/32 dev lo"
done | ip -n "$stations" -batch -
ip -n "$stations" route add blackhole 10.78.1.0/24
ip netns exec "$stations" sysctl -qw net.ipv4.ip_forward=1
ip -n "$sender" route add 10.78.1.0/24 via 10.78.0.2

# The two kinds of station behave as meant: one answers, the other stays silent (no error comes back either).
ip netns exec "$sender" ping -n -c 1 -W 1 10.78.1.1 >/dev/null || fail "a live station does not answer"
out=$(ip netns exec "$sender" ping -n -c 1 -W 1 10.78.1.190 2>&1 || true)
grep -q " 0 received" <<<"$out" || fail "a dead station answered: $out"
! grep -qi "unreachable\|from 10\." <<<"$out" || fail "a dead station sent an error back: $out"

# Every tenth station of the list is a silent one.
list=()
live=1 dead=181
for i in $(seq 1 200); do
    if ((i % 10 == 0)); then
        list+=("10.78.1.$dead")
        dead=$((dead + 1))
    else
        list+=("10.78.1.$live")
        live=$((live + 1))
    fi
done
ip netns exec "$sender" "$bench_bin" "${list[@]}"
echo "targets: one after the other >= 10 s, concurrently <= 1.5 s"
