#!/usr/bin/env bash
# Configures and builds into build/ (or build-asan/ with --asan). Used by run.sh and test.sh.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build="$root/build"
args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
for arg in "$@"; do
    case "$arg" in
        --asan)
            build="$root/build-asan"
            args=(-DCMAKE_BUILD_TYPE=Debug -DCORVANE_SANITIZE=ON -DCORVANE_BUILD_BENCH=OFF)
            ;;
        *) echo "build.sh: unknown option $arg" >&2; exit 2 ;;
    esac
done
cmake -S "$root" -B "$build" "${args[@]}" >/dev/null
cmake --build "$build" -j"$(nproc)"
echo "$build"
