#!/usr/bin/env bash
# Sets up a Debian 12 machine, builds Corvane and runs every test through CTest.
#   --asan   build and test with AddressSanitizer and UndefinedBehaviorSanitizer (in build-asan/)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bash "$root/scripts/setup.sh"
build=$(bash "$root/scripts/build.sh" "$@" | tail -n 1)

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:strict_string_checks=1}"
export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$root/scripts/lsan.supp:print_suppressions=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

# Tests that need a display or a session bus start their own (offscreen by default).
cd "$build"
ctest --output-on-failure -j"$(nproc)" --timeout 600
