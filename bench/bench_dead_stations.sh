#!/usr/bin/env bash
# What dead stations cost a send: addresses of the LAN where no host answers ARP, so the kernel itself says "host
# unreachable". One dead station with the ping on and DelaiAttente 5 s; then five dead and one live station (a
# pilvanor-messenger) with the ping off, one after the other and concurrently.
# Run on demand, as root: cmake --build BUILD --target bench_group_send && bash bench/bench_dead_stations.sh BUILD/bin
source "$(dirname "$0")/../tests/interop/lib.sh"
need_root_netns
bench_bin=$(pv_bin bench_group_send)
service_bin=$(pv_bin pilvanor-messenger)

make_lan 2
start_in h2 messenger "$service_bin" --foreground --spool "$WORK/h2/spool" --no-udp
wait_port h2 139
dead=("$LAN_NET.201" "$LAN_NET.202" "$LAN_NET.203" "$LAN_NET.204" "$LAN_NET.205")

echo "== one dead station, ping on (before: 6.1 s)"
in_host h1 "$bench_bin" --delai 5000 "${dead[0]}"
echo "== five dead and one live station, ping off (before: 15 s)"
in_host h1 "$bench_bin" --sans-ping "${dead[@]}" "$IP_h2"
echo "targets: one dead station about 3 s (the kernel's neighbour time-out), no connection after it; five dead and" \
    "one live concurrently about one dead station's cost"
