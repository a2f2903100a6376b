#!/usr/bin/env bash
# Installs what is missing, builds and opens Tarnel. Without a display it runs under xvfb-run.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
app="${TARNEL_BUILD_DIR:-$root/build}/gui/tarnel"
export TARNEL_DAEMON_PATH="${TARNEL_BUILD_DIR:-$root/build}/daemon/tarneld"
# The application starts the Monitor app itself at launch (and replaces an older copy).
export TARNEL_MONITOR_PATH="${TARNEL_BUILD_DIR:-$root/build}/monitor/tarnel-monitor"
# The Monitor app needs a session bus to run once and hear the application.
bus=()
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
  bus=(dbus-run-session --)
fi
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display found: running Tarnel under xvfb-run (a virtual X server)."
  exec "${bus[@]}" xvfb-run -a -s "-screen 0 1440x900x24" "$app" "$@"
fi
exec "${bus[@]}" "$app" "$@"
