#!/usr/bin/env bash
# Runs tst_SonPreference against a private PulseAudio whose only output is a null sink.
set -euo pipefail
source "$(dirname "$0")/../poll.sh"
TEST=${1:?usage: $0 TST_SONPREFERENCE}
for tool in pulseaudio pactl pacat; do
    command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed" >&2; exit 77; }
done
WORK=$(mktemp -d)
PA=
trap '[ -z "$PA" ] || kill "$PA" 2>/dev/null; wait; rm -rf "$WORK"' EXIT
export HOME="$WORK/home" XDG_RUNTIME_DIR="$WORK/run"
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME
mkdir -p "$HOME" && mkdir -m 700 "$XDG_RUNTIME_DIR"
export PULSE_SERVER="unix:$XDG_RUNTIME_DIR/native"

# -n: none of the system's modules (sound cards, D-Bus, suspend on idle). The socket's folder is private, so no
# cookie is asked for; pulseaudio only warns that it runs as root.
pulseaudio --daemonize=no -n --exit-idle-time=-1 --use-pid-file=no \
    --load="module-null-sink sink_name=pvnull" \
    --load="module-native-protocol-unix auth-anonymous=1 socket=${PULSE_SERVER#unix:}" >"$WORK/pulseaudio.log" 2>&1 &
PA=$!
poll 5 pactl info >/dev/null 2>&1 || { echo "SKIP: pulseaudio did not start: $(tail -n 3 "$WORK/pulseaudio.log")" >&2; exit 77; }

"$TEST"
