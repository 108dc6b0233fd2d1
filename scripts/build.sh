#!/usr/bin/env bash
# Configures and builds into build/ (or build-asan/ with --asan). Used by run.sh and test.sh.
# The build's progress goes to standard error; the last line of standard output is the build
# folder, for the caller.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build="$root/build"
# Shared subsystem libraries keep the test executables small (see CMakeLists.txt).
common=(-DCORVANE_SHARED_LIBS=ON)
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
# ccache keeps its files inside the checkout unless the caller chose a place.
export CCACHE_DIR="${CCACHE_DIR:-$root/.cache/ccache}"
# Paths inside the checkout are hashed relative to it, so a second worktree of the project
# (pointed at the same CCACHE_DIR) reuses the objects.
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$root}"
export CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-1}"
echo "build: configuring $build" >&2
cmake -S "$root" -B "$build" "${common[@]}" "${args[@]}" >&2
echo "build: compiling with $(nproc) jobs (the first build takes a while)" >&2
cmake --build "$build" -j"$(nproc)" >&2
echo "$build"
