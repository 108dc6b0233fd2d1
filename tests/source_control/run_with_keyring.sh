#!/bin/sh
# Runs a test program beside an unlocked gnome-keyring on the current (private) session bus:
#   dbus-run-session -- run_with_keyring.sh PROGRAM [ARGS...]
# The keyring lives in a temporary HOME of its own, removed afterwards.
set -u
keyring_home=$(mktemp -d)
trap 'rm -rf "$keyring_home"' EXIT
# The daemon creates the login keyring, unlocked with this password, in its data folder.
printf 'corvane-test' | HOME=$keyring_home XDG_DATA_HOME=$keyring_home/.local/share \
    gnome-keyring-daemon --unlock --components=secrets >/dev/null || exit 1
CORVANE_TEST_KEYRING=1 "$@"
