#!/bin/sh
# Runs a test program as the unprivileged user nobody when started as root; otherwise as it is.
# Exits 77 (skipped) when root can't hand the program to nobody.
program=$1
shift
if [ "$(id -u)" != 0 ]; then
  exec "$program" "$@"
fi
command -v setpriv >/dev/null || exit 77
as_nobody="setpriv --reuid=65534 --regid=65534 --clear-groups"
$as_nobody test -x "$program" || exit 77
exec $as_nobody "$program" "$@"
