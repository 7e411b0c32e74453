# Helpers for driving the real program under its own X server. Sourced by the app tests.
set -euo pipefail

BIN_DIR=${1:?usage: $0 BIN_DIR}
PILVANOR="$BIN_DIR/pilvanor"
WORK=$(mktemp -d)
PIDS=()

cleanup() {
    local pid
    for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$WORK"
}
trap cleanup EXIT

fail() { echo "FAIL: $*" >&2; exit 1; }

need() {
    local tool
    for tool in "$@"; do
        command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed" >&2; exit 77; }
    done
}

# A fresh user: every XDG folder under a temporary HOME.
new_home() {
    export HOME="$WORK/home-$1"
    mkdir -p "$HOME"
    unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME
    export XDG_RUNTIME_DIR="$HOME/run"
    mkdir -p -m 700 "$XDG_RUNTIME_DIR"
    CONF="$HOME/.config/Pilvanor/Pilvanor.conf"
    DATA="$HOME/.local/share/Pilvanor/Pilvanor.pv"
    # These tests run in the machine's own namespace: no message service listening on its network.
    export PILVANOR_MESSENGER=off
}

start_x() {
    need Xvfb xdotool xprop openbox
    local fifo="$WORK/displayfd"
    mkfifo "$fifo"
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$fifo" 2>"$WORK/xvfb.log" &
    PIDS+=($!)
    local number
    read -r -t 20 number <"$fifo" || fail "Xvfb did not start"
    export DISPLAY=":$number"
    export QT_QPA_PLATFORM=xcb
    openbox >"$WORK/openbox.log" 2>&1 &
    PIDS+=($!)
    sleep 0.5
}

start_pilvanor() {
    "$PILVANOR" >>"$WORK/pilvanor.log" 2>&1 &
    PILVANOR_PID=$!
    PIDS+=("$PILVANOR_PID")
}

quit_pilvanor() {
    kill -TERM "$PILVANOR_PID"
    wait_exit "$PILVANOR_PID" || fail "pilvanor did not end on SIGTERM"
}

# For the tests on a private LAN (as root). The LAN's helpers win where both define one (fail, need, WORK); at exit
# X goes too, then the LAN's own clean-up, which reads the exit status from $?.
use_lan() {
    local app_work=$WORK
    source "$(dirname "${BASH_SOURCE[0]}")/../interop/lib.sh" "$BIN_DIR"
    rm -rf "$app_work"
    trap _lan_cleanup EXIT
    need_root_netns
}

_lan_cleanup() {
    local status=$? pid
    set +e
    for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null; done
    (exit "$status")
    _cleanup
}

# pilvanor inside host H of the LAN: it reaches the display through the socket file under /tmp/.X11-unix.
start_pilvanor_in() {
    start_in "$1" pilvanor "$PILVANOR"
    PILVANOR_PID=$!
}

# Waits for a visible top-level window of that exact name and prints its id.
wait_window() {
    local name=$1 i id
    for i in $(seq 1 100); do
        id=$(xdotool search --onlyvisible --name "^${name}\$" 2>/dev/null | head -n 1 || true)
        if [ -n "$id" ]; then echo "$id"; return 0; fi
        sleep 0.1
    done
    return 1
}

# Waits until no visible window has that name.
wait_gone() {
    local i
    for i in $(seq 1 50); do
        xdotool search --onlyvisible --name "^$1\$" >/dev/null 2>&1 || return 0
        sleep 0.1
    done
    return 1
}

window_state() {
    xprop -id "$1" WM_STATE 2>/dev/null | sed -n 's/.*window state: //p'
}

wait_state() {
    local id=$1 want=$2 i
    for i in $(seq 1 50); do
        [ "$(window_state "$id")" = "$want" ] && return 0
        sleep 0.1
    done
    return 1
}

wait_exit() {
    local pid=$1 i
    for i in $(seq 1 50); do
        kill -0 "$pid" 2>/dev/null || return 0
        sleep 0.1
    done
    return 1
}

setting() {
    sed -n "s/^$1=//p" "$CONF" 2>/dev/null | head -n 1
}

# The received (Incoming) or sent (Outgoing) history, "station|text" a line.
pv_history() {
    sed -n "/^\[$1Message\]/,/^\[/{/^[0-9]\{17\}=/p}" "$DATA" 2>/dev/null | cut -d= -f2-
}

shot() {
    if [ -n "${PV_SCREENSHOT_DIR:-}" ] && command -v import >/dev/null; then
        import -window root "$PV_SCREENSHOT_DIR/$1"
    fi
}
