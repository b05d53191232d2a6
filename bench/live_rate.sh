#!/usr/bin/env bash
# The live rate of ovn-kst on an ovn-sim line, against the line's own limit, and the
# processor time it takes: a change that makes the program spin again shows here.
#
# Usage: bench/live_rate.sh BUILD_DIR [SECONDS] [BAUD]
# Runs, each on a fresh ovn-sim line:
#   headless   ovn-kst --headless --duration SECONDS
#   saving     the same with --save-dir and --save-rate 0 (a row every sample)
#   window     the main window (offscreen) monitoring for 6 s (its --screenshot run)
# and prints for each: rounds per second, the share of the line's limit, the processor
# time of ovn-kst per round and as a share of one core, and ovn-sim's share of a core.
# The line's limit is the baud rate over 10 bits a byte over the bytes of one round
# ("ADE*" and its LF, and the reply measured on the line).
set -u
b=${1:?usage: live_rate.sh BUILD_DIR [SECONDS] [BAUD]}
s=${2:-6}
baud=${3:-115200}
sim=$(find "$b/" -name ovn-sim -type f -perm -u+x | head -n1)
app=$(find "$b/" -name ovn-kst -type f -perm -u+x | head -n1)
[ -n "$sim" ] && [ -n "$app" ] || { echo "no ovn-sim or ovn-kst under $b"; exit 1; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
export OVN_CONFIG_DIR=$tmp/config OVN_DATA_DIR=$tmp/data QT_QPA_PLATFORM=offscreen
export OVN_NO_NEW_VERSION_CHECK=1 XDG_DOCUMENTS_DIR=$tmp/docs
mkdir -p "$tmp/docs"

ticks() { awk '{print $14 + $15}' "/proc/$1/stat" 2>/dev/null || echo 0; }
hz=$(getconf CLK_TCK)

start_sim() {
  "$sim" --baud "$baud" >"$tmp/sim.out" 2>/dev/null &
  sp=$!
  for _ in $(seq 50); do [ -s "$tmp/sim.out" ] && break; sleep 0.1; done
  pty=$(head -n1 "$tmp/sim.out")
}
stop_sim() { kill "$sp" 2>/dev/null; wait "$sp" 2>/dev/null; }

# The bytes of one round: the request and the reply the instrument gives to it.
start_sim
round_bytes=$(python3 - "$pty" <<'PY'
import os, sys, termios, tty, select
fd = os.open(sys.argv[1], os.O_RDWR | os.O_NOCTTY)
tty.setraw(fd)
os.write(fd, b"ADE*\n")
got = b""
while not got.endswith((b"\r", b"\n")):
    if not select.select([fd], [], [], 2)[0]: break
    got += os.read(fd, 256)
print(5 + len(got))
PY
)
stop_sim
limit=$(python3 -c "print($baud / 10 / $round_bytes)")

# run NAME COMMAND...: the command's rounds come from its closing line, or from the
# transcript for the window.
report() {
  python3 - "$@" <<'PY'
import sys
name, rounds, wall, cpu, simcpu, limit = sys.argv[1], *map(float, sys.argv[2:7])
rate = rounds / wall if wall > 0 else 0
per = cpu / rounds * 1e6 if rounds > 0 else 0
print(f"{name:9} {rate:6.0f} rounds/s = {rate / limit:4.2f} of the line's {limit:.0f}; "
      f"ovn-kst {per:5.0f} us a round, {cpu / wall * 100:5.1f}% of a core; "
      f"ovn-sim {simcpu / wall * 100:4.1f}%")
PY
}

headless() {
  local name=$1
  shift
  start_sim
  local s0 log n wall cpu
  s0=$(ticks "$sp")
  log=$({ /usr/bin/time -f 'cpu %U %S' timeout $((s + 30)) "$app" --headless --port "$pty" \
    --duration "$s" "$@"; } 2>&1)
  local s1
  s1=$(ticks "$sp")
  stop_sim
  read -r n wall < <(echo "$log" | sed -n 's/.*: \([0-9]*\) samples in \([0-9.]*\) s.*/\1 \2/p')
  cpu=$(echo "$log" | awk '/^cpu /{print $2+$3}')
  [ -n "${n:-}" ] && [ -n "$cpu" ] || { echo "$name: no figures"; echo "$log" | tail -n 3; return; }
  report "$name" "$n" "$wall" "$cpu" "$(python3 -c "print(($s1-$s0)/$hz)")" "$limit"
}

headless headless
headless saving --save-dir "$tmp/rows" --save-rate 0

# The window: its --screenshot run monitors for 6 s after start-up and ends. The rounds
# are counted on the line (ovn-sim's transcript); the times from the first to the last.
"$sim" --baud "$baud" --transcript "$tmp/tr" >"$tmp/sim.out" 2>/dev/null &
sp=$!
for _ in $(seq 50); do [ -s "$tmp/sim.out" ] && break; sleep 0.1; done
pty=$(head -n1 "$tmp/sim.out")
s0=$(ticks "$sp")
w0=$(date +%s.%N)
log=$({ /usr/bin/time -f 'cpu %U %S' timeout 60 "$app" --port "$pty" -nologo -nonewversioncheck \
  --screenshot "$tmp/shot.png"; } 2>&1)
w1=$(date +%s.%N)
s1=$(ticks "$sp")
stop_sim
cpu=$(echo "$log" | awk '/^cpu /{print $2+$3}')
n=$(grep -c ' > .DE\*' "$tmp/tr" 2>/dev/null || echo 0)
wall=$(python3 -c "print($w1 - $w0)")
report window "$n" "$wall" "${cpu:-0}" "$(python3 -c "print(($s1-$s0)/$hz)")" "$limit"
echo "(window: the whole run of $(printf %.1f "$wall") s, start-up included; load: $(cut -d' ' -f1-3 /proc/loadavg))"
