#!/usr/bin/env bash
# Installs what is missing, builds and opens Tarnel. Without a display it runs under xvfb-run.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
app="${TARNEL_BUILD_DIR:-$root/build}/gui/tarnel"
export TARNEL_DAEMON_PATH="${TARNEL_BUILD_DIR:-$root/build}/daemon/tarneld"
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display found: running Tarnel under xvfb-run (a virtual X server)."
  exec xvfb-run -a -s "-screen 0 1440x900x24" "$app" "$@"
fi
exec "$app" "$@"
