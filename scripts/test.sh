#!/usr/bin/env bash
# Installs what is missing, configures, builds and runs every test through
# CTest.
#   scripts/test.sh              plain build (build/), all tests
#   scripts/test.sh --sanitize   AddressSanitizer + UBSan (build-asan/), all tests
#   scripts/test.sh --tsan       ThreadSanitizer (build-tsan/), the concurrency tests
# Build folders are kept between runs, so a second run only rebuilds what
# changed.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=plain
case "${1:-}" in
    "") ;;
    --sanitize) mode=asan ;;
    --tsan) mode=tsan ;;
    *) echo "usage: scripts/test.sh [--sanitize|--tsan]" >&2; exit 2 ;;
esac

bash scripts/setup.sh

jobs=2
case "$mode" in
    plain)
        build=build
        options=()
        labels=()
        ;;
    asan)
        build=build-asan
        options=(-DTAVO_SANITIZE=ON -DTAVO_BUILD_BENCH=OFF)
        labels=()
        ;;
    tsan)
        build=build-tsan
        options=(-DTAVO_TSAN=ON -DTAVO_BUILD_BENCH=OFF -DTAVO_BUILD_FUZZ=OFF)
        labels=(-L concurrency)
        ;;
esac

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${options[@]}" >/dev/null
if [ "$mode" = tsan ]; then
    # Only the libraries and the concurrency suites are needed here.
    targets=$(cmake --build "$build" --target help | sed -n 's/^\([a-z_]*concurrency_tests\):.*/\1/p')
    # shellcheck disable=SC2086
    cmake --build "$build" -j"$jobs" --target $targets
else
    cmake --build "$build" -j"$jobs"
fi
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1}"
export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}"
ctest --test-dir "$build" --output-on-failure -j"$jobs" "${labels[@]}"
