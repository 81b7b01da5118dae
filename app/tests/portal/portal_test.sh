#!/usr/bin/env bash
# The portal shortcut route against a scripted portal on a private session
# bus. usage: portal_test.sh PORTAL_TESTS  (exit 77: dbus or python-dbus missing)
set -uo pipefail
tests=$1
here=$(dirname "$(readlink -f "$0")")
if [[ ${2:-} != --inner ]]; then
    command -v dbus-run-session >/dev/null || { echo "SKIP: dbus-run-session is not installed"; exit 77; }
    /usr/bin/python3 -c 'import dbus, gi' 2>/dev/null || { echo "SKIP: python3-dbus or python3-gi is not installed"; exit 77; }
    exec dbus-run-session -- bash "$0" "$tests" --inner
fi
work=$(mktemp -d)
/usr/bin/python3 "$here/fake_portal.py" "$work/ready" >"$work/portal.log" 2>&1 &
portal=$!
trap 'kill $portal 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 100); do
    [[ -s $work/ready ]] && break
    sleep 0.05
done
[[ -s $work/ready ]] || { echo "FAIL: the scripted portal did not start"; cat "$work/portal.log"; exit 1; }
QT_QPA_PLATFORM=offscreen "$tests"
