#!/usr/bin/env bash
# The live rate over one simulated 115200 line with and without publishing to a local
# MQTT broker: what publishing costs the main loop. Usage: bench/publish_rate.sh BUILD_DIR [SECONDS]
set -euo pipefail
b=${1:?usage: publish_rate.sh BUILD_DIR [SECONDS]}; s=${2:-6}
tmp=$(mktemp -d); trap 'kill $(jobs -p) 2>/dev/null; rm -rf "$tmp"' EXIT
export OVN_CONFIG_DIR=$tmp/config OVN_DATA_DIR=$tmp/data QT_QPA_PLATFORM=offscreen
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
printf 'listener %s 127.0.0.1\nallow_anonymous true\n' "$port" >"$tmp/mq.conf"
mosquitto -c "$tmp/mq.conf" >/dev/null 2>&1 &
sleep 0.5
rate() {  # samples a second of one run, extra arguments appended
  "$b/ovn-sim" --baud 115200 >"$tmp/sim.out" 2>/dev/null &
  local sp=$!
  for _ in $(seq 50); do [ -s "$tmp/sim.out" ] && break; sleep 0.1; done
  local log
  log=$("$b/ovn-kst" --headless --port "$(head -n1 "$tmp/sim.out")" --duration "$s" "$@" 2>&1 >/dev/null | tail -n1)
  kill "$sp"; wait "$sp" 2>/dev/null || true
  echo "$log" | sed -n 's/.*: \([0-9]*\) samples in \([0-9.]*\) s.*/\1 \2/p' | awk '{printf "%.1f", $1/$2}'
}
plain=$(rate); published=$(rate --publish "mqtt://127.0.0.1:$port/bench")
python3 -c "import sys; p,q=float(sys.argv[1]),float(sys.argv[2]); print(f'without {p:.0f}/s, publishing {q:.0f}/s: cost {(p-q)/p*100:.1f}% of the live rate')" "$plain" "$published"
