#!/usr/bin/env bash
# Takes the Monitor app's screenshots into docs/screenshots under Xvfb, with trayer as the tray host.
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
build="${TARNEL_BUILD_DIR:-$root/build}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cat > "$work/session.sh" <<SESSION
#!/usr/bin/env bash
trayer --edge top --align right --widthtype request --height 32 --iconspacing 6 --tint 0x2d3440 --transparent true --alpha 0 &
tray=\$!
sleep 1
status=0
QT_QPA_PLATFORM=xcb "$build/tests/tarnel-monitor/monitor-screenshots" "$work" "$root/docs/screenshots" || status=\$?
kill \$tray
exit \$status
SESSION
chmod +x "$work/session.sh"
xvfb-run -a -s "-screen 0 1024x640x24" "$work/session.sh"
