#!/bin/sh
# Runs a test program beside a real dunst on the current (private) session bus and X display:
#   xvfb-run -a dbus-run-session -- run_under_dunst.sh DUNSTRC PROGRAM [ARGS...]
# The program's exit status is the script's; dunst is stopped either way.
set -u
dunstrc=$1
shift
dunst -config "$dunstrc" >"${TMPDIR:-/tmp}/corvane-dunst.$$.log" 2>&1 &
dunst_pid=$!
trap 'kill "$dunst_pid" 2>/dev/null; wait "$dunst_pid" 2>/dev/null; rm -f "${TMPDIR:-/tmp}/corvane-dunst.$$.log"' EXIT

tries=0
until dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.NameHasOwner string:org.freedesktop.Notifications 2>/dev/null | grep -q true; do
    tries=$((tries + 1))
    if [ "$tries" -ge 100 ] || ! kill -0 "$dunst_pid" 2>/dev/null; then
        echo "dunst did not take org.freedesktop.Notifications:" >&2
        cat "${TMPDIR:-/tmp}/corvane-dunst.$$.log" >&2
        exit 1
    fi
    sleep 0.1
done

CORVANE_NOTIFICATION_SERVICE=dunst "$@"
