#!/usr/bin/env bash
# Start-up of pilvanor, on demand: from the launch of a new process to its main window being mapped, under its own
# Xvfb and openbox, with a fresh temporary HOME each time and no message service; then its resident memory once
# idle. The file cache is warm after the first run (that one is shown apart).
# Usage: bench/bench_startup.sh [BIN_DIR] [RUNS]   (BIN_DIR defaults to build/bin next to the sources)
# Targets: median <= 300 ms, idle resident memory <= 80 MB.
set -euo pipefail
BIN_DIR=${1:-$(cd "$(dirname "$0")/.." && pwd)/build/bin}
RUNS=${2:-15}
SETTLE_SECONDS=${SETTLE_SECONDS:-5}
for c in Xvfb openbox xdotool; do
    command -v "$c" >/dev/null || { echo "missing: $c" >&2; exit 2; }
done
[ -x "$BIN_DIR/pilvanor" ] || { echo "no pilvanor in $BIN_DIR" >&2; exit 2; }

WORK=$(mktemp -d /tmp/bench_startup.XXXXXX)
pids=()
PILVANOR_PID=
cleanup() {
    local p
    [ -z "$PILVANOR_PID" ] || kill "$PILVANOR_PID" 2>/dev/null || true
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$WORK"
}
trap cleanup EXIT INT TERM

Xvfb -displayfd 9 -nolisten tcp -screen 0 1280x1024x24 9>"$WORK/display" >"$WORK/xvfb.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do [ -s "$WORK/display" ] && break; sleep 0.05; done
export DISPLAY=:$(head -n1 "$WORK/display") QT_QPA_PLATFORM=xcb PILVANOR_MESSENGER=off
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME
openbox >"$WORK/openbox.log" 2>&1 &
pids+=($!)
sleep 0.5

now_us() { local t=${EPOCHREALTIME/./}; echo "${t#0}"; }

# One start: sets MS to the milliseconds to the mapped main window; leaves pilvanor running in PILVANOR_PID.
start_once() {
    export HOME=$WORK/home-$1 XDG_RUNTIME_DIR=$WORK/home-$1/run
    mkdir -p "$HOME" && mkdir -m 700 "$XDG_RUNTIME_DIR"
    local t0 t1
    t0=$(now_us)
    "$BIN_DIR/pilvanor" >>"$WORK/pilvanor.log" 2>&1 &
    PILVANOR_PID=$!
    until xdotool search --onlyvisible --pid "$PILVANOR_PID" --name '^Pilvanor$' >/dev/null 2>&1; do
        kill -0 "$PILVANOR_PID" 2>/dev/null || { echo "pilvanor ended: $(tail -5 "$WORK/pilvanor.log")" >&2; exit 1; }
        (($(now_us) - t0 < 20000000)) || { echo "no main window within 20 s" >&2; exit 1; }
    done
    t1=$(now_us)
    MS=$(((t1 - t0 + 500) / 1000))
}

stop() {
    kill "$PILVANOR_PID"
    wait "$PILVANOR_PID" 2>/dev/null || true
    PILVANOR_PID=
}

times=()
for i in $(seq "$RUNS"); do
    start_once "$i"
    times+=("$MS")
    if [ "$i" -lt "$RUNS" ]; then
        stop
    fi
done
# The last one stays to settle, then its resident memory is read.
sleep "$SETTLE_SECONDS"
rss_kb=$(awk '/^VmRSS:/ {print $2}' "/proc/$PILVANOR_PID/status")
stop

first=${times[0]}
sorted=($(printf '%s\n' "${times[@]}" | sort -n))
n=${#sorted[@]}
if ((n % 2)); then median=${sorted[n / 2]}; else median=$(((sorted[n / 2 - 1] + sorted[n / 2]) / 2)); fi
max=${sorted[n - 1]}
rss_mb=$(awk -v kb="$rss_kb" 'BEGIN {printf "%.1f", kb / 1024}')
echo "start-up to mapped main window over $n runs: median $median ms, max $max ms (first run $first ms);" \
     "target median <= 300 ms$( ((median <= 300)) || echo '  ** MISSED **')"
echo "  all: ${times[*]}"
echo "idle resident memory after ${SETTLE_SECONDS} s: $rss_mb MB; target <= 80 MB$(awk -v r="$rss_mb" 'BEGIN {if (r > 80) print "  ** MISSED **"}')"
