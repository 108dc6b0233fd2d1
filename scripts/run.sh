#!/usr/bin/env bash
# Sets up a Debian 12 machine, builds Corvane and starts it.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bash "$root/scripts/setup.sh"
build=$(bash "$root/scripts/build.sh" | tail -n 1)
exec "$build/src/app/corvane" "$@"
