#!/usr/bin/env bash
# Capture of a backlog by pilvanor, on demand: 10,000 pop-ups wait in the spool when pilvanor starts (a weekend with
# it closed), in display mode 0 (a window per message). Measured from the launch: how long until all are in the
# history, pilvanor's resident memory against its idle figure, how long its event loop takes to answer (a request
# through the single-instance socket every 20 ms, answered on the window thread) and how many windows it opens.
# Then the idle cost with 10,000 pop-ups waiting under a title nobody captures, against an empty spool, and the cost
# of each live message captured meanwhile. No network: the pop-up files are written as the service writes them.
# Everything runs under its own Xvfb and openbox with temporary HOMEs.
# Usage: bench/bench_backlog.sh [BIN_DIR]   (BIN_DIR defaults to build/bin next to the sources)
# Targets: all in the history within 10 s, resident memory within 20 MB of idle, every answer within 50 ms, an idle
# tick with 10,000 waiting no dearer than with none.
set -euo pipefail
BIN_DIR=${1:-$(cd "$(dirname "$0")/.." && pwd)/build/bin}
BACKLOG=${BACKLOG:-10000}
DEADLINE_SECONDS=${DEADLINE_SECONDS:-60}
IDLE_SECONDS=${IDLE_SECONDS:-10}
LIVE_MESSAGES=${LIVE_MESSAGES:-20}
for c in python3 Xvfb openbox xdotool; do
    command -v "$c" >/dev/null || { echo "missing: $c" >&2; exit 2; }
done
[ -x "$BIN_DIR/pilvanor" ] || { echo "no pilvanor in $BIN_DIR" >&2; exit 2; }

WORK=$(mktemp -d /tmp/bench_backlog.XXXXXX)
pids=()
cleanup() {
    local p
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

python3 - "$BIN_DIR/pilvanor" "$WORK" "$BACKLOG" "$DEADLINE_SECONDS" "$IDLE_SECONDS" "$LIVE_MESSAGES" <<'PY'
import datetime, glob, os, signal, socket, statistics, subprocess, sys, time

pilvanor, work = sys.argv[1:3]
backlog, deadline_s, idle_s, n_live = map(int, sys.argv[3:7])
TITLE = "Messenger Service "
HZ = os.sysconf("SC_CLK_TCK")
seq = 0

def load():
    with open("/proc/loadavg") as f:
        return " ".join(f.read().split()[:3])

def popup(folder, text, title=TITLE, sender="PC-1", direct=False):
    """One pop-up file as pilvanor-messenger writes it: hidden temporary name, then a rename."""
    global seq
    seq += 1
    now = time.time_ns()
    name = f"{now // 10**9:011d}{now % 10**9:09d}-{seq:08d}-{os.getpid()}.popup"
    arrived = datetime.datetime.now().astimezone().isoformat(timespec="milliseconds")
    body = (f"Pilvanor-Popup: 1\nTitle: {title}\nFrom: {sender}\nTo: BOB\nPeer: 127.0.0.1\nArrived: {arrived}\n\n"
            f"Message from {sender} to BOB on 21/11/2026 09:15:00\r\n\r\n{text}").encode()
    path = os.path.join(folder, name)
    tmp = path if direct else os.path.join(folder, "." + name + ".tmp")
    with open(tmp, "wb") as f:
        f.write(body)
    if not direct:
        os.rename(tmp, path)

class Run:
    """pilvanor with a HOME of its own; the spool is filled before it starts."""
    def __init__(self, name, fill):
        self.home = os.path.join(work, name)
        self.spool = os.path.join(self.home, ".local/state/pilvanor/popups")
        self.data = os.path.join(self.home, ".local/share/Pilvanor/Pilvanor.pv")
        conf = os.path.join(self.home, ".config/Pilvanor")
        run = os.path.join(self.home, "run")
        os.makedirs(self.spool); os.makedirs(conf); os.makedirs(run, mode=0o700)
        with open(os.path.join(conf, "Pilvanor.conf"), "w") as f:
            f.write(f"[General]\nAffichageMessage=0\nNbMessageMaxHistorique={backlog + 1000}\n")
        fill(self.spool)
        env = dict(os.environ, HOME=self.home, XDG_RUNTIME_DIR=run)
        self.t0 = time.monotonic()
        self.proc = subprocess.Popen([pilvanor], env=env, stdout=subprocess.DEVNULL,
                                     stderr=open(os.path.join(work, name + ".log"), "wb"))
        self.run = run
        self.sock = None

    def ping(self, timeout=5.0):
        """Milliseconds for the window thread to answer a request through the single-instance socket."""
        if not self.sock:
            found = glob.glob(os.path.join(self.run, "pilvanor-*.sock"))
            if not found:
                return None
            self.sock = found[0]
        t = time.monotonic()
        try:
            with socket.socket(socket.AF_UNIX) as s:
                s.settimeout(timeout)
                s.connect(self.sock)
                s.sendall(b"show\n")
                got = b""
                while not got.endswith(b"\n"):
                    chunk = s.recv(16)
                    if not chunk:
                        return None
                    got += chunk
        except OSError:
            return None
        return (time.monotonic() - t) * 1000

    def wait_ready(self):
        end = time.monotonic() + 20
        while self.ping() is None:
            if self.proc.poll() is not None or time.monotonic() > end:
                raise SystemExit("pilvanor did not start")
            time.sleep(0.02)

    def stat(self):
        with open(f"/proc/{self.proc.pid}/stat") as f:
            fields = f.read().rsplit(")", 1)[1].split()
        return int(fields[11]) + int(fields[12])  # utime + stime

    def rss_mb(self):
        with open(f"/proc/{self.proc.pid}/status") as f:
            for line in f:
                if line.startswith("VmRSS:"):
                    return int(line.split()[1]) / 1024
        return 0.0

    def stored(self):
        try:
            with open(self.data, "rb") as f:
                raw = f.read()
        except FileNotFoundError:
            return 0
        start = raw.find(b"[IncomingMessage]")
        if start < 0:
            return 0
        end = raw.find(b"\n[", start + 1)
        return raw[start:end if end > 0 else len(raw)].count(b"=")

    def windows(self):
        r = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(self.proc.pid), "--name", "."],
                           capture_output=True, text=True)
        return len(r.stdout.split())

    def idle_cpu_ms_per_s(self, seconds):
        a, t = self.stat(), time.monotonic()
        time.sleep(seconds)
        return (self.stat() - a) * 1000 / HZ / (time.monotonic() - t)

    def stop(self):
        self.proc.send_signal(signal.SIGTERM)
        try:
            self.proc.wait(10)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()

print(f"machine: {os.cpu_count()} cores, load {load()} (1, 5, 15 min) at the start")

# 1. Idle with an empty spool: the reference for memory and for the idle tick.
empty = Run("empty", lambda spool: None)
empty.wait_ready()
time.sleep(2)
rss_idle = empty.rss_mb()
cpu_empty = empty.idle_cpu_ms_per_s(idle_s)
empty.stop()

# 2. The backlog, in display mode 0.
def fill_backlog(spool):
    for i in range(backlog):
        popup(spool, f"backlog {i:05d} " + "x" * 60, sender=f"PC-{i % 40}", direct=True)
big = Run("backlog", fill_backlog)
big.wait_ready()  # the first answer waits for the start-up itself
first_answer = time.monotonic() - big.t0
pings, rss_max, at_10s, done_s = [], 0.0, None, None
while time.monotonic() - big.t0 < deadline_s:
    p = big.ping()
    if p is not None:
        pings.append((p, time.monotonic() - big.t0))
    rss_max = max(rss_max, big.rss_mb())
    n = big.stored()
    elapsed = time.monotonic() - big.t0
    if at_10s is None and elapsed >= 10:
        at_10s = n
    if n >= backlog:
        done_s = elapsed
        break
    time.sleep(0.02)
for _ in range(20):  # a second more, for the windows that follow the last batch
    p = big.ping()
    if p is not None:
        pings.append((p, time.monotonic() - big.t0))
    rss_max = max(rss_max, big.rss_mb())
    time.sleep(0.05)
n_stored, n_windows = big.stored(), big.windows()
if at_10s is None:
    at_10s = n_stored
left = len([n for n in os.listdir(big.spool) if n.endswith(".popup")])
big.stop()
pings.sort()
p99 = pings[min(len(pings) - 1, int(len(pings) * 0.99))][0] if pings else float("nan")
worst, worst_at = pings[-1] if pings else (float("nan"), 0)
if done_s is not None:
    print(f"backlog of {backlog}: all in the history {done_s:.1f} s after the launch "
          f"(target <= 10 s){'' if done_s <= 10 else '  ** MISSED **'}")
else:
    rate = n_stored / deadline_s
    print(f"backlog of {backlog}: {n_stored} in the history after {deadline_s} s, "
          f"{rate:.0f} per second (all in about {backlog / max(rate, 1e-9):.0f} s; target <= 10 s)  ** MISSED **")
print(f"  first answer {first_answer:.2f} s after the launch; in the history 10 s after the launch: {at_10s}; "
      f"left in the spool at the end: {left}")
print(f"  resident memory: idle {rss_idle:.1f} MB, at most {rss_max:.1f} MB during the backlog, "
      f"+{rss_max - rss_idle:.1f} MB (target <= +20 MB){'' if rss_max - rss_idle <= 20 else '  ** MISSED **'}")
print(f"  event loop answers over {len(pings)} requests after the first: median "
      f"{statistics.median(p for p, _ in pings) if pings else 0:.1f} ms, 99th percentile {p99:.1f} ms, worst "
      f"{worst:.1f} ms {worst_at:.2f} s after the launch (target <= 50 ms){'' if worst <= 50 else '  ** MISSED **'}")
print(f"  windows of pilvanor open at the end: {n_windows}")

# 3. Idle with 10,000 waiting under a title nobody captures, then live messages among them.
def fill_unknown(spool):
    for i in range(backlog):
        popup(spool, f"unknown {i:05d}", title="Nachrichtendienst ", direct=True)
waiting = Run("waiting", fill_unknown)
waiting.wait_ready()
time.sleep(3)  # past the first look at what waits
cpu_waiting = waiting.idle_cpu_ms_per_s(idle_s)
live_ms = []
for i in range(n_live):
    before = waiting.stored()
    a = waiting.stat()
    popup(waiting.spool, f"live {i:03d}")
    end = time.monotonic() + 10
    while waiting.stored() == before and time.monotonic() < end:
        time.sleep(0.01)
    time.sleep(0.3)  # the tick's aftermath: the window it opens
    live_ms.append((waiting.stat() - a) * 1000 / HZ)
waiting.stop()
print(f"idle CPU: {cpu_empty:.2f} ms per second with an empty spool, {cpu_waiting:.2f} ms per second with "
      f"{backlog} waiting under an unknown title (target: no more)"
      + ("" if cpu_waiting <= cpu_empty + 0.5 else "  ** MISSED **"))
print(f"  CPU per live message captured with {backlog} waiting: median {statistics.median(live_ms):.0f} ms, "
      f"worst {max(live_ms):.0f} ms over {n_live} (clock tick {1000 / HZ:.0f} ms)")
print(f"load {load()} (1, 5, 15 min) at the end")
PY
