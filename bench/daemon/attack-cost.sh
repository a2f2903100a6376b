#!/usr/bin/env bash
# What tarneld costs while an unprivileged user attacks it, at the full length the security
# tests shorten: CPU seconds, peak resident memory (VmHWM) and log lines of the daemon. The peer
# in the same run is the same tarneld left alone for as long.
# Usage (as root, for the second user): bench/daemon/attack-cost.sh [build dir] [seconds]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
seconds=${2:-30}
daemon=$build/daemon/tarneld
client=$build/tests/tarneld/tarnel_test_attack_client
work=$(mktemp -d)
chmod 755 "$work"
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
tick=$(getconf CLK_TCK)

# run NAME DESCRIPTORS DAEMON-OPTIONS... -- ATTACK...
run() {
    local name=$1 descriptors=$2
    shift 2
    local options=()
    while [[ $1 != -- ]]; do options+=("$1"); shift; done
    shift
    runs=$((${runs:-0} + 1))
    local dir=$work/$runs
    mkdir -p "$dir" && chmod 755 "$dir"
    (ulimit -n "$descriptors"; exec "$daemon" --socket-dir "$dir" "${options[@]}" 2>"$dir/log") &
    local pid=$!
    attacker=
    while [[ ! -S $dir/org.quendal.Tarnel.Daemon.stats.sock ]]; do sleep 0.05; done
    if [[ $# -gt 0 ]]; then
        local socket=$dir/org.quendal.Tarnel.Daemon.sock
        [[ $1 == subscribe ]] && socket=$dir/org.quendal.Tarnel.Daemon.stats.sock
        local command=$1
        shift
        # A session daemon serves only its own user; the system daemon is attacked as nobody.
        local as=(setpriv --reuid=65534 --regid=65534 --clear-groups --)
        [[ " ${options[*]} " == *" --session "* ]] && as=()
        "${as[@]}" "$client" "$command" "$socket" "$@" >"$dir/out" &
        attacker=$!
    fi
    sleep "$seconds"
    local stat user system
    stat=$(sed 's/.*) //' "/proc/$pid/stat")
    user=$(echo "$stat" | awk '{print $12}')
    system=$(echo "$stat" | awk '{print $13}')
    local peak
    peak=$(awk '/VmHWM/ {print $2}' "/proc/$pid/status")
    [[ -n ${attacker:-} ]] && { wait "$attacker" 2>/dev/null || true; attacker=; }
    kill "$pid"
    wait "$pid" 2>/dev/null || true
    printf '| %s | %.2f | %.1f MB | %d |\n' "$name" "$(echo "($user + $system) / $tick" | bc -l)" \
        "$(echo "$peak / 1024" | bc -l)" "$(wc -l <"$dir/log")"
}

echo "| Run ($seconds s) | CPU seconds | Peak RSS | Log lines |"
echo "|---|---|---|---|"
run idle 1024 --
run "flood: 5,000 connections from one uid, 1,024 descriptors" 1024 -- hold 5000 "$seconds"
run "64 connections announcing 16 MiB" 1024 -- hold 64 "$seconds" announce
run "20 unread subscriptions at 0.1 s a tick" 1024 --session --base-interval 0.1 -- subscribe 20 "$seconds"
