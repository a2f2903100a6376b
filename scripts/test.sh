#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors and runs every test.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" -DTARNEL_WERROR=ON
cd "${TARNEL_BUILD_DIR:-$root/build}"
# Tests that need a session bus get their own; nothing here touches the user's.
exec dbus-run-session -- ctest --output-on-failure -j "$(nproc)" "$@"
