#!/usr/bin/env bash
# The application's CPU use while the Dashboard is shown, beside top sampling at the same
# 2-second period, both measured over the same 60 seconds from /proc/<pid>/stat.
# Usage: bench/app/dashboard-cpu.sh [build-dir] [seconds]
set -euo pipefail
build="${1:-build}"
seconds="${2:-60}"
work=$(mktemp -d)
trap 'kill $app $peer 2>/dev/null || true; pkill -f "tarneld --session" 2>/dev/null || true; rm -rf "$work"' EXIT
export HOME="$work/home" XDG_RUNTIME_DIR="$work/run" XDG_CONFIG_HOME="$work/config" XDG_STATE_HOME="$work/state"
mkdir -p "$HOME" "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
QT_QPA_PLATFORM=offscreen "$build/gui/tarnel" >/dev/null 2>&1 &
app=$!
top -b -d 2 >/dev/null &
peer=$!
ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
sleep 10 # start-up, the daemon and the first batches
a0=$(ticks $app); p0=$(ticks $peer); t0=$(date +%s.%N)
sleep "$seconds"
a1=$(ticks $app); p1=$(ticks $peer); t1=$(date +%s.%N)
hz=$(getconf CLK_TCK)
rss=$(awk '/VmRSS/{print $2}' "/proc/$app/status")
echo "$(echo "$t0 $t1 $a0 $a1 $p0 $p1 $hz $rss" | awk '{w=$2-$1; printf "over %.0f s: tarnel %.2f %% of a core (RSS %d MB), top -b -d 2 %.2f %%", w, 100*($4-$3)/$7/w, $8/1024, 100*($6-$5)/$7/w}')"
