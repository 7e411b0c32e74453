# Helpers for driving the real program under its own X server. Sourced by the app tests.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../poll.sh"

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
    wait_for "openbox did not start" 10 _wm_ready
}

_wm_ready() { xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id'; }

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

# service_names NAME...: the names the service pilvanor starts answers to besides the host name; the settings folder.
service_names() {
    mkdir -p "$HOME/.local/state/pilvanor/popups" "$(dirname "$CONF")"
    printf '%s\n' "$@" >"$HOME/.local/state/pilvanor/popups/names"
}

# from_samba TEXT: smbclient -M from h2 to BOB at h1's address, which must take it.
from_samba() {
    local out
    out=$(printf '%s' "$1" | send_with_smbclient h2 BOB "$IP_h1" 2>&1) || fail "smbclient -M BOB: $out"
    ! grep -q NT_STATUS <<<"$out" || fail "smbclient -M BOB: $out"
}

# pilvanor inside host H of the LAN: it reaches the display through the socket file under /tmp/.X11-unix.
start_pilvanor_in() {
    start_in "$1" pilvanor "$PILVANOR"
    PILVANOR_PID=$!
}

# Waits for a visible top-level window of that exact name and prints its id.
wait_window() { poll 10 _window "$1"; }
_window() { xdotool search --onlyvisible --name "^$1\$" 2>/dev/null | head -n 1 | grep .; }

# Waits until no visible window has that name.
wait_gone() { poll 5 _no_window "$1"; }
_no_window() { ! xdotool search --onlyvisible --name "^$1\$" >/dev/null 2>&1; }

window_state() {
    xprop -id "$1" WM_STATE 2>/dev/null | sed -n 's/.*window state: //p'
}

wait_state() { poll 5 _in_state "$1" "$2"; }
_in_state() { [ "$(window_state "$1")" = "$2" ]; }

wait_exit() { poll 5 _ended "$1"; }
_ended() { ! kill -0 "$1" 2>/dev/null; }

# Visible windows of the display: a menu or a box that opens adds one.
visible_windows() { xdotool search --onlyvisible --name '' 2>/dev/null | wc -l; }

# Presses KEYS and waits until a window more shows (a menu opened).
open_menu() {
    local before
    before=$(visible_windows)
    xdotool key "$@"
    wait_for "$* opened nothing" 5 _more_windows "$before"
}
_more_windows() { [ "$(visible_windows)" -gt "$1" ]; }

setting() {
    sed -n "s/^$1=//p" "$CONF" 2>/dev/null | head -n 1
}

# The received (Incoming) or sent (Outgoing) history, "station|text" a line.
pv_history() {
    sed -n "/^\[$1Message\]/,/^\[/{/^[0-9]\{17\}=/p}" "$DATA" 2>/dev/null | cut -d= -f2-
}

# Only when pictures are asked for: the last paint is let through before the picture is taken.
shot() {
    if [ -n "${PV_SCREENSHOT_DIR:-}" ] && command -v import >/dev/null; then
        sleep 0.5
        import -window root "$PV_SCREENSHOT_DIR/$1"
    fi
}

_geometry() { [ "$(xdotool getwindowgeometry "$1" | sed -n 's/.*Geometry: //p')" = "$2" ]; }

# True when no client holds the passive grab of Ctrl+Alt+M on the root window (a grab of our own would be refused).
hot_key_free() {
    python3 - <<'PY'
import ctypes, sys
x = ctypes.CDLL("libX11.so.6")
x.XOpenDisplay.restype = ctypes.c_void_p
for f, args in (("XDefaultRootWindow", [ctypes.c_void_p]), ("XKeysymToKeycode", [ctypes.c_void_p, ctypes.c_ulong]),
                ("XGrabKey", [ctypes.c_void_p, ctypes.c_int, ctypes.c_uint, ctypes.c_ulong] + [ctypes.c_int] * 3),
                ("XSync", [ctypes.c_void_p, ctypes.c_int])):
    getattr(x, f).argtypes = args
x.XDefaultRootWindow.restype = ctypes.c_ulong
refused = []
handler = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)(lambda d, e: refused.append(1) or 0)
x.XSetErrorHandler(handler)
d = x.XOpenDisplay(None)
x.XGrabKey(d, x.XKeysymToKeycode(d, 0x6D), 4 | 8, x.XDefaultRootWindow(d), 1, 1, 1)  # m, Control|Mod1
x.XSync(d, 0)
sys.exit(1 if refused else 0)
PY
}
