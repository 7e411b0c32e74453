#!/usr/bin/env bash
# Capture of received messages by pilvanor, on demand: latency from smbclient's exit to the record in the data
# file, a burst of messages (all stored, in spool order, one per tick), and pilvanor's idle CPU use.
# Everything stays on 127.0.0.1; pilvanor runs under its own Xvfb with a temporary HOME.
# Usage: bench/bench_capture.sh [BIN_DIR] [PORT]   (BIN_DIR defaults to build/bin next to the sources)
set -euo pipefail
BIN_DIR=${1:-$(cd "$(dirname "$0")/../.." && pwd)/build/bin}
PORT=${2:-1139}
LATENCY_MESSAGES=${LATENCY_MESSAGES:-30}
BURST_MESSAGES=${BURST_MESSAGES:-50}
IDLE_SECONDS=${IDLE_SECONDS:-30}
for c in smbclient python3 Xvfb openbox; do
    command -v "$c" >/dev/null || { echo "missing: $c" >&2; exit 2; }
done

WORK=$(mktemp -d /tmp/bench_capture.XXXXXX)
pids=()
cleanup() {
    local p
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
        p=${pids[i]}
        kill "$p" 2>/dev/null || true
    done
    for p in "${pids[@]}"; do
        wait "$p" 2>/dev/null || true
    done
    rm -rf "$WORK"
}
trap cleanup EXIT INT TERM

export HOME=$WORK/home XDG_RUNTIME_DIR=$WORK/run
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME
mkdir -p "$HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
SPOOL=$HOME/.local/state/pilvanor/popups
DATA=$HOME/.local/share/Pilvanor/Pilvanor.pv
mkdir -p "$SPOOL" "$HOME/.config/Pilvanor"
# The history keeps 50 messages by default; the burst alone fills that.
printf '[General]\nNbMessageMaxHistorique=1000\n' >"$HOME/.config/Pilvanor/Pilvanor.conf"
# smbclient needs a configuration of its own, not the machine's.
cat >"$WORK/smb.conf" <<CONF
[global]
    workgroup = BENCHWG
CONF

"$BIN_DIR/pilvanor-messenger" --foreground --bind 127.0.0.1 --no-udp --port "$PORT" --name BOB \
    --spool "$SPOOL" >"$WORK/messenger.log" 2>&1 &
pids+=($!)

Xvfb -displayfd 9 -nolisten tcp -screen 0 1280x1024x24 9>"$WORK/display" >"$WORK/xvfb.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do [ -s "$WORK/display" ] && break; sleep 0.05; done
export DISPLAY=:$(head -n1 "$WORK/display")
openbox >"$WORK/openbox.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do (echo >/dev/tcp/127.0.0.1/"$PORT") 2>/dev/null && break; sleep 0.05; done

PILVANOR_MESSENGER=off QT_QPA_PLATFORM=xcb "$BIN_DIR/pilvanor" >"$WORK/pilvanor.log" 2>&1 &
PILVANOR_PID=$!
pids+=($PILVANOR_PID)

python3 - "$WORK" "$SPOOL" "$DATA" "$PORT" "$PILVANOR_PID" "$LATENCY_MESSAGES" "$BURST_MESSAGES" \
    "$IDLE_SECONDS" <<'PY'
import os, random, re, statistics, subprocess, sys, threading, time

work, spool, data, port, pid = sys.argv[1:6]
n_lat, n_burst, idle_s = map(int, sys.argv[6:9])
TICK_MS = 100

def send(text):
    r = subprocess.run(["smbclient", f"--configfile={work}/smb.conf", "-M", "BOB", "-I", "127.0.0.1",
                        "-p", port, "-U", "alice", "-N"], input=text.encode(), capture_output=True)
    out = (r.stdout + r.stderr).decode(errors="replace")
    if r.returncode != 0 or "NT_STATUS" in out:
        raise SystemExit(f"smbclient failed ({r.returncode}): {out.strip()}")

def records():
    """IncomingMessage entries of the data file: [(key, value)] in file order."""
    try:
        with open(data, "rb") as f:
            raw = f.read().decode("utf-8", errors="replace")
    except FileNotFoundError:
        return []
    out, inside = [], False
    for line in raw.splitlines():
        s = line.strip()
        if s.startswith("["):
            inside = s == "[IncomingMessage]"
        elif inside and "=" in s:
            k, v = s.split("=", 1)
            out.append((k, v))
    return out

def wait_record(text, timeout=10.0):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        with open(data, "rb") if os.path.exists(data) else open(os.devnull, "rb") as f:
            if text.encode() in f.read():
                return time.monotonic()
        time.sleep(0.002)
    raise SystemExit(f"not recorded within {timeout} s: {text}")

def key_ms(k):
    # yyyyMMddHHmmsszzz
    t = time.strptime(k[:14], "%Y%m%d%H%M%S")
    return time.mktime(t) * 1000 + int(k[14:17])

# pilvanor ready: its first record stands for it.
deadline = time.monotonic() + 20
send("warm-up")
wait_record("warm-up", 20)

# 1. Latency, one message at a time, each at a random phase of the tick.
lat = []
for i in range(n_lat):
    time.sleep(random.uniform(0, 0.15))
    text = f"latency {i:03d} {random.randrange(1 << 30)}"
    send(text)
    t0 = time.monotonic()
    lat.append((wait_record(text) - t0) * 1000)
med, mx = statistics.median(lat), max(lat)
print(f"latency over {n_lat} messages: median {med:.1f} ms, max {mx:.1f} ms (target <= {TICK_MS + 20} ms)"
      + ("" if mx <= TICK_MS + 20 else "  ** MISSED **"))

# 2. Burst: the spool is watched to learn the arrival order.
seen, stop = {}, threading.Event()
def watch():
    while not stop.is_set():
        for name in os.listdir(spool):
            if name.endswith(".popup") and name not in seen:
                try:
                    with open(os.path.join(spool, name), "rb") as f:
                        body = f.read().decode("utf-8", errors="replace")
                except FileNotFoundError:
                    seen[name] = None
                    continue
                m = re.search(r"burst \d{3}", body)
                seen[name] = m.group(0) if m else None
        time.sleep(0.001)
watcher = threading.Thread(target=watch)
watcher.start()
def burst_records():
    return [(k, v) for k, v in records() if re.search(r"burst \d{3}", v)]
texts = [f"burst {i:03d}" for i in range(n_burst)]
t0 = time.monotonic()
procs = [subprocess.Popen(["smbclient", f"--configfile={work}/smb.conf", "-M", "BOB", "-I", "127.0.0.1",
                           "-p", port, "-U", "alice", "-N"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL) for _ in texts]
for p, t in zip(procs, texts):
    p.stdin.write(t.encode()); p.stdin.close()
failed = sum(p.wait() != 0 for p in procs)
t_sent = time.monotonic()
end = time.monotonic() + 30
while time.monotonic() < end and len(burst_records()) < n_burst:
    time.sleep(0.01)
t_done = time.monotonic()
stop.set(); watcher.join()
recs = burst_records()
got = [re.search(r"burst \d{3}", v).group(0) for k, v in recs if re.search(r"burst \d{3}", v)]
arrival = [seen[n] for n in sorted(seen) if seen[n]]
missing = set(texts) - set(got)
print(f"burst of {n_burst}: sent in {(t_sent - t0) * 1000:.0f} ms ({failed} smbclient failures), "
      f"{len(got)} recorded, all stored {(t_done - t0) * 1000:.0f} ms after the first send")
problems = []
if missing:
    problems.append(f"{len(missing)} missing: {sorted(missing)[:5]}")
if len(arrival) != n_burst:
    problems.append(f"watcher saw {len(arrival)} of {n_burst} in the spool")
if got != arrival[:len(got)]:
    first = next(i for i, (a, b) in enumerate(zip(got, arrival)) if a != b) if any(
        a != b for a, b in zip(got, arrival)) else len(got)
    problems.append(f"order differs from the spool's from position {first}")
keys = [key_ms(k) for k, v in recs if re.search(r"burst \d{3}", v)]
gaps = [b - a for a, b in zip(keys, keys[1:])]
if keys:
    print(f"  keys span {keys[-1] - keys[0]:.0f} ms over {len(keys)} records; gaps min {min(gaps):.0f}, "
          f"median {statistics.median(gaps):.0f}, max {max(gaps):.0f} ms (one per tick: >= ~{TICK_MS} ms)")
    if min(gaps) < TICK_MS * 0.8:
        problems.append(f"{sum(g < TICK_MS * 0.8 for g in gaps)} gaps under {TICK_MS * 0.8:.0f} ms")
print("  " + ("order, completeness, pace: OK" if not problems else "** " + "; ".join(problems) + " **"))

# 3. Idle CPU.
def cpu_ticks():
    with open(f"/proc/{pid}/stat") as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])  # utime, stime
hz = os.sysconf("SC_CLK_TCK")
time.sleep(1)
a, ta = cpu_ticks(), time.monotonic()
time.sleep(idle_s)
b, tb = cpu_ticks(), time.monotonic()
pct = (b - a) / hz / (tb - ta) * 100
print(f"idle CPU over {tb - ta:.0f} s: {pct:.2f} % of a core ({b - a} ticks at {hz} Hz; target <= 0.5 %)"
      + ("" if pct <= 0.5 else "  ** MISSED **"))
PY
