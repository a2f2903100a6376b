#!/bin/bash
# Runs a private journald in a mount namespace of its own, so the journal store is tested
# end to end (written by the logger, found by journalctl and by collectLogs) on machines
# where no journald runs, without touching the machine's /run.
# Usage: JournalCheck.sh <logging test binary>
set -euo pipefail
skip=77
binary=$1
journald=$(command -v systemd-journald || ls /lib/systemd/systemd-journald /usr/lib/systemd/systemd-journald 2>/dev/null | head -n1 || true)
if [ -z "$journald" ] || ! command -v journalctl >/dev/null || ! command -v unshare >/dev/null; then
    echo "systemd-journald, journalctl or unshare is missing"; exit $skip
fi
if [ "${TARNEL_IN_NAMESPACE:-}" != 1 ]; then
    TARNEL_IN_NAMESPACE=1 unshare -m "$0" "$@" && exit 0
    status=$?
    [ $status -eq $skip ] && exit $skip
    # unshare itself refused (no privilege for a mount namespace): nothing to check here.
    unshare -m true 2>/dev/null || { echo "no mount namespace for a private journald"; exit $skip; }
    exit $status
fi
mount --make-rprivate /
mount -t tmpfs tarnel-journal /run
mkdir -p /run/systemd/journal /run/log/journal
"$journald" &
pid=$!
trap 'kill $pid 2>/dev/null || true' EXIT
for _ in $(seq 200); do [ -S /run/systemd/journal/socket ] && break; sleep 0.05; done
[ -S /run/systemd/journal/socket ] || { echo "journald did not start"; exit $skip; }
"$binary" --gtest_filter='JournalLogStore.*' --gtest_brief=1
found=$(journalctl --no-pager -o verbose TARNEL_SUBSYSTEM=org.quendal.Tarnel.Test)
echo "$found" | grep -E 'MESSAGE=|TARNEL_|PRIORITY='
echo "$found" | grep -q 'MESSAGE=.*journal check' || { echo "journalctl did not find the line"; exit 1; }
echo "$found" | grep -q 'TARNEL_CATEGORY=main' && echo "$found" | grep -q 'TARNEL_LEVEL=Notice' && echo "$found" | grep -q 'PRIORITY=5'
