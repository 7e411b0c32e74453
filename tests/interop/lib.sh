# Helpers for the interop tests: a private LAN of network namespaces with real Samba peers.
# Sourced by each test; the first argument of a test is the bin dir of the build.
# Every namespace, daemon and file of a run carries the run's PID and goes away on exit.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../poll.sh"

BIN_DIR=${1:-}
PV_TAG="pv$$"
LAN_NET="10.77.$(($$ % 250 + 1))"
LAN_BCAST="$LAN_NET.255"
HOSTS=()
WORK=$(mktemp -d "${TMPDIR:-/tmp}/pv-interop.XXXXXX")
# smbd runs the message command as its guest account, which must reach the host folders.
chmod 755 "$WORK"

_NAMESPACES=()
_FAILED=0

fail() {
    echo "FAIL: $*" >&2
    _FAILED=1
    exit 1
}

skip() {
    echo "SKIP: $*" >&2
    exit 77
}

need() {
    local tool
    for tool in "$@"; do
        command -v "$tool" >/dev/null || skip "$tool is not installed"
    done
}

# A program of the build, e.g. "$(pv_bin pilvanor-send)".
pv_bin() {
    [ -n "$BIN_DIR" ] || fail "no bin dir given (usage: $0 BIN_DIR)"
    [ -x "$BIN_DIR/$1" ] || fail "$BIN_DIR/$1 is not built"
    echo "$BIN_DIR/$1"
}

_dump_logs() {
    local log
    for log in "$WORK"/h*/log/*; do
        if [ ! -f "$log" ] || [ ! -s "$log" ]; then continue; fi
        echo "--- last lines of ${log#"$WORK"/}" >&2
        tail -n 15 "$log" >&2
    done
}

_ns_pids() {
    local ns
    for ns in "${_NAMESPACES[@]}"; do ip netns pids "$ns" 2>/dev/null; done
}

_no_ns_pids() { [ -z "$(_ns_pids)" ]; }

_cleanup() {
    local status=$? ns pids=()
    set +e
    if [ "$_FAILED" = 1 ] || { [ "$status" != 0 ] && [ "$status" != 77 ]; }; then
        _dump_logs
    fi
    # Every process inside our namespaces was started by this run: daemons, their children, message commands.
    mapfile -t pids < <(_ns_pids)
    [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null
    if ! poll 2 _no_ns_pids; then
        mapfile -t pids < <(_ns_pids)
        kill -KILL "${pids[@]}" 2>/dev/null
    fi
    for ns in "${_NAMESPACES[@]}"; do ip netns delete "$ns" 2>/dev/null; done
    wait 2>/dev/null
    if [ -n "${PV_KEEP:-}" ]; then
        echo "kept $WORK" >&2
    else
        rm -rf "$WORK"
    fi
    exit "$status"
}
trap _cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

_add_ns() {
    ip netns add "$1" || return 1
    _NAMESPACES+=("$1")
}

# Skips the test (exit 77) where this user cannot build namespaces, veth pairs and bridges.
need_root_netns() {
    need ip
    local probe="$PV_TAG-probe" err="$WORK/probe.err"
    _add_ns "$probe" 2>"$err" || skip "cannot create network namespaces (needs root or CAP_SYS_ADMIN): $(cat "$err")"
    ip -n "$probe" link add pvbr type bridge 2>"$err" || skip "cannot create a bridge in a namespace: $(cat "$err")"
    ip -n "$probe" link add pva type veth peer name pvb 2>"$err" || skip "cannot create a veth pair: $(cat "$err")"
    ip netns delete "$probe"
    unset '_NAMESPACES[-1]'
}

# A switch namespace with a bridge and N hosts h1..hN, each with eth0 on the bridge.
# Exports per host: NS_hI (namespace), IP_hI (10.77.x.I), DIR_hI (its scratch folder); and LAN_NET, LAN_BCAST, HOSTS.
make_lan() {
    local n=${1:?usage: make_lan N} i h ns sw="$PV_TAG-sw"
    _add_ns "$sw" || fail "cannot create namespace $sw"
    ip -n "$sw" link add br0 type bridge forward_delay 0 stp_state 0
    ip -n "$sw" link set br0 up
    ip -n "$sw" link set lo up
    for i in $(seq 1 "$n"); do
        h="h$i"
        ns="$PV_TAG-$h"
        _add_ns "$ns" || fail "cannot create namespace $ns"
        # Created inside the namespaces, so the interface names never clash with another run.
        ip -n "$sw" link add "port$i" type veth peer name eth0 netns "$ns"
        ip -n "$sw" link set "port$i" master br0 up
        ip -n "$ns" link set lo up
        ip -n "$ns" addr add "$LAN_NET.$i/24" broadcast "$LAN_BCAST" dev eth0
        ip -n "$ns" link set eth0 up
        ip netns exec "$ns" sysctl -qw net.ipv4.icmp_echo_ignore_broadcasts=0
        ip netns exec "$ns" sysctl -qw net.ipv6.conf.all.disable_ipv6=1 2>/dev/null || true
        printf -v "NS_$h" '%s' "$ns"
        printf -v "IP_$h" '%s' "$LAN_NET.$i"
        printf -v "DIR_$h" '%s' "$WORK/$h"
        export "NS_$h" "IP_$h" "DIR_$h"
        HOSTS+=("$h")
        mkdir -p "$WORK/$h"/{lock,state,cache,private,pid,ncalrpc,binddns,nmbd,log}
        # Samba writes each message to $TMPDIR, then the message command (as the guest) moves it to the inbox.
        mkdir -p "$WORK/$h/tmp" "$WORK/$h/inbox"
        chmod 1777 "$WORK/$h/tmp" "$WORK/$h/inbox"
        _write_conf "$h" "${h^^}" WORKGROUP ""
    done
    export LAN_NET LAN_BCAST
    [ "$n" -lt 2 ] || _check_broadcast "$n"
}

# An echo to the broadcast address from h1 must be answered by every other host.
_check_broadcast() {
    local n=$1 i out missing
    need ping
    for _ in 1 2 3 4 5; do
        out=$(in_host h1 ping -b -n -c 2 -i 0.2 -W 1 "$LAN_BCAST" 2>&1 || true)
        missing=""
        for i in $(seq 2 "$n"); do
            grep -q "from $LAN_NET.$i:" <<<"$out" || missing+=" h$i"
        done
        [ -z "$missing" ] && return 0
    done
    fail "a broadcast from h1 did not reach:$missing"$'\n'"$out"
}

_ns() {
    local var="NS_$1"
    [ -n "${!var:-}" ] || fail "no host $1 in this LAN"
    echo "${!var}"
}

# Runs a program (not a shell function) inside host H.
in_host() {
    local ns
    ns=$(_ns "$1")
    shift
    ip netns exec "$ns" "$@"
}

# start_in H LOG CMD…: starts a program in the background inside H, output to DIR_H/log/LOG.out;
# $! is its PID afterwards. Whatever runs in a namespace is ended at exit.
start_in() {
    local ns log="$WORK/$1/log/$2.out"
    ns=$(_ns "$1")
    shift 2
    ip netns exec "$ns" "$@" </dev/null >>"$log" 2>&1 &
}

# Path of host H's smb.conf; the Samba clients of that host use it too.
samba_conf() {
    echo "$WORK/$1/smb.conf"
}

# Runs a Samba client (smbclient, nmblookup…) inside host H with that host's smb.conf,
# so that nothing reads /etc/samba or writes to /var.
samba_client() {
    local h=$1 tool=$2
    shift 2
    in_host "$h" "$tool" --configfile="$(samba_conf "$h")" "$@"
}

# The text of each message delivered to H's smbd lands in INBOX_hI as NNN.txt (UTF-8, LF line ends),
# with NNN.meta beside it (from=%f, to=%L, machine=%m, ip=%I). NNN sorts in order of arrival.
_write_deliver() {
    local h=$1 script="$WORK/$1/deliver"
    cat >"$script" <<EOF
#!/bin/sh
# Run by smbd (as its guest account) for each message: \$1 text file, \$2 sender, \$3 called name, \$4 calling name, \$5 client IP.
inbox='$WORK/$h/inbox'
n=\$(date +%s%N).\$\$
printf 'from=%s\nto=%s\nmachine=%s\nip=%s\n' "\$2" "\$3" "\$4" "\$5" >"\$inbox/.\$n.meta"
mv "\$inbox/.\$n.meta" "\$inbox/\$n.meta"
# The .txt appears last and whole (a rename), so a test that sees it may read both files.
mv "\$1" "\$inbox/\$n.txt"
EOF
    chmod 755 "$script"
    echo "$script '%s' '%f' '%L' '%m' '%I' &"
}

_write_conf() {
    local h=$1 name=$2 wg=$3 msgcmd=$4 d="$WORK/$1" ip_var="IP_$1"
    cat >"$d/smb.conf" <<EOF
[global]
    netbios name = $name
    workgroup = $wg
    server string = Pilvanor interop peer
    server role = standalone server
    server min protocol = NT1
    disable netbios = no
    smb ports = 139
    interfaces = ${!ip_var}/24
    bind interfaces only = yes
    name resolve order = bcast
    dos charset = CP850
    unix charset = UTF-8
    lock directory = $d/lock
    state directory = $d/state
    cache directory = $d/cache
    private dir = $d/private
    pid directory = $d/pid
    ncalrpc dir = $d/ncalrpc
    binddns dir = $d/binddns
    nmbd:socket dir = $d/nmbd
    log file = $d/log/log.%d
    max log size = 0
    log level = ${PV_LOG_LEVEL:-1}
    passdb backend = tdbsam:$d/private/passdb.tdb
    guest account = nobody
    load printers = no
    printing = bsd
    printcap name = /dev/null
    disable spoolss = yes
    local master = no
    preferred master = no
    domain master = no
    wins support = no
    dns proxy = no
EOF
    [ -z "$msgcmd" ] || echo "    message command = $msgcmd" >>"$d/smb.conf"
    printf -v "NAME_$h" '%s' "$name"
    printf -v "INBOX_$h" '%s' "$d/inbox"
    export "NAME_$h" "INBOX_$h"
}

_start_daemon() {
    local h=$1 daemon=$2 d="$WORK/$1" ns extra=()
    need "$daemon"
    ns=$(_ns "$h")
    # Else nmbd reads /etc/samba/lmhosts.
    [ "$daemon" != nmbd ] || { : >"$d/lmhosts"; extra=(-H "$d/lmhosts"); }
    # -F and a plain command (no function): $! is the daemon itself. TMPDIR: where smbd writes each message.
    ip netns exec "$ns" env TMPDIR="$d/tmp" "$daemon" -F --configfile="$d/smb.conf" -l "$d/log" "${extra[@]}" \
        </dev/null >>"$d/log/$daemon.out" 2>&1 &
    printf -v "${daemon^^}_PID_$h" '%s' "$!"
    export "${daemon^^}_PID_$h"
}

# start_smbd H NAME WORKGROUP [MESSAGE_COMMAND]: smbd on TCP 139 of H, taking messages.
# Without a fourth argument each message goes to INBOX_H (see _write_deliver); an empty one
# leaves "message command" unset, so smbd refuses messages; any other value is used as is.
start_smbd() {
    local h=${1:?usage: start_smbd H NAME WORKGROUP [MESSAGE_COMMAND]} name=${2:?} wg=${3:?} msgcmd
    _ns "$h" >/dev/null
    if [ $# -ge 4 ]; then msgcmd=$4; else msgcmd=$(_write_deliver "$h"); fi
    _write_conf "$h" "$name" "$wg" "$msgcmd"
    _start_daemon "$h" smbd
}

# set_host_name H NAME [WORKGROUP]: the NetBIOS name (NAME_H) and workgroup of H's smb.conf, used by its
# Samba clients (smbclient's calling name) and by an nmbd started afterwards. Default: H1, H2… in WORKGROUP.
set_host_name() {
    local h=${1:?usage: set_host_name H NAME [WORKGROUP]} var
    _ns "$h" >/dev/null
    for var in "SMBD_PID_$h" "NMBD_PID_$h"; do
        [ -z "${!var:-}" ] || fail "set_host_name $h: a Samba daemon already runs there"
    done
    _write_conf "$h" "${2:?}" "${3:-WORKGROUP}" ""
}

# start_nmbd H [NAME WORKGROUP]: nmbd on UDP 137/138 of H with H's smb.conf (that of start_smbd), or
# with NAME and WORKGROUP (see set_host_name). It registers NAME<00> <03> <20> and WORKGROUP<00> <1E>
# by broadcast, which takes Samba 4.17 about 3.5 s: wait_name tells when it answers.
start_nmbd() {
    local h=${1:?usage: start_nmbd H [NAME WORKGROUP]}
    [ $# -lt 3 ] || set_host_name "$h" "$2" "$3"
    _start_daemon "$h" nmbd
}

# wait_port H PORT [SECONDS]: waits until a TCP socket listens on PORT inside H.
wait_port() {
    poll "${3:-10}" _listens "$1" "$2" || fail "nothing listens on port $2 in $1 after ${3:-10}s"
}
_listens() {
    local daemon var
    [ -n "$(in_host "$1" ss -Hltn "sport = :$2")" ] && return 0
    for daemon in SMBD NMBD; do
        var="${daemon}_PID_$1"
        [ -z "${!var:-}" ] || kill -0 "${!var}" 2>/dev/null || fail "${daemon,,} on $1 has ended"
    done
    return 1
}

# wait_name FROM NAME#TYPE [SECONDS]: asks by broadcast from host FROM until NAME answers; prints its address.
wait_name() {
    local from=$1 name=$2 limit=${3:-20} end out
    end=$((SECONDS + limit))
    while [ "$SECONDS" -le "$end" ]; do
        out=$(samba_client "$from" nmblookup -B "$LAN_BCAST" "$name" 2>/dev/null || true)
        if grep -q "<${name##*#}>" <<<"$out"; then
            awk '/</ { print $1; exit }' <<<"$out"
            return 0
        fi
        sleep 0.1
    done
    fail "no answer to a broadcast query for $name from $from after ${limit}s"
}

# send_with_smbclient FROM NAME [IP]: smbclient -M NAME in host FROM, text on stdin; sender $SMB_USER
# (default alice), calling name that of FROM. Without IP, NAME is found by broadcast. Returns smbclient's status.
send_with_smbclient() {
    local from=$1 name=$2 calling_var="NAME_$1" address=()
    [ -z "${3:-}" ] || address=(-I "$3")
    samba_client "$from" smbclient -M "$name" "${address[@]}" -U "${SMB_USER:-alice}" -n "${!calling_var}" -N
}

# Messages delivered to H so far, in order of arrival: one .txt path per line.
messages() {
    local inbox="$WORK/$1/inbox"
    find "$inbox" -maxdepth 1 -name '*.txt' | sort
}

# wait_messages H COUNT [SECONDS]: waits until H's smbd has delivered COUNT messages.
wait_messages() {
    poll "${3:-10}" _has_messages "$1" "$2" || fail "$1 received $(messages "$1" | wc -l) messages, expected $2"
}
_has_messages() { [ "$(messages "$1" | wc -l)" -ge "$2" ]; }

# message_text H I: the text of H's I-th message (1 = first).
message_text() {
    local file
    file=$(messages "$1" | sed -n "$2p")
    [ -n "$file" ] || fail "$1 has no message $2"
    cat "$file"
}

# message_meta H I KEY: from, to, machine or ip of H's I-th message.
message_meta() {
    local file
    file=$(messages "$1" | sed -n "$2p")
    [ -n "$file" ] || fail "$1 has no message $2"
    sed -n "s/^$3=//p" "${file%.txt}.meta"
}

# popup_body H I: the body of the I-th pop-up of a pilvanor-messenger started in H with --spool "$WORK/H/spool"
# (after the header lines and the "Message from" line), LF line ends.
popup_body() {
    local file
    file=$(find "$WORK/$1/spool" -maxdepth 1 -name '*.popup' | sort | sed -n "$2p")
    [ -n "$file" ] || fail "$1 has no pop-up $2"
    tr -d '\r' <"$file" | sed '1,/^$/d' | sed '1,2d'
}

# expect_popup H I TEXT: waits for H's I-th pop-up, whose body must be TEXT.
expect_popup() {
    wait_popups "$1" "$2"
    [ "$(popup_body "$1" "$2")" = "$3" ] || fail "$1's pop-up $2: <$(popup_body "$1" "$2")>, expected <$3>"
}

# wait_popups H COUNT: waits until H's spool holds COUNT pop-ups.
wait_popups() { poll 5 _has_popups "$1" "$2" || fail "$1 has fewer than $2 pop-ups"; }
_has_popups() { [ "$(find "$WORK/$1/spool" -maxdepth 1 -name '*.popup' 2>/dev/null | wc -l)" -ge "$2" ]; }

# The machine's host name, which the namespaces share: the NetBIOS computer name of every service.
machine_name() {
    local host
    host=$(hostname | cut -d. -f1 | tr '[:lower:]' '[:upper:]')
    echo "${host:0:15}"
}
