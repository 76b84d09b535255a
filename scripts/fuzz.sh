#!/bin/sh
# Builds the libFuzzer targets with clang (ASan+UBSan) and runs each for a
# bounded time on its stored corpus. New crash inputs are left in the current
# directory as crash-*; add them to tests/fuzz/corpus/TARGET once fixed.
# Usage: scripts/fuzz.sh [SECONDS_PER_TARGET]   (default 60)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
if ! command -v clang++ >/dev/null 2>&1; then
    echo "fuzz: clang++ not found; skipping (install with scripts/setup.sh)"
    exit 0
fi
# One target per tests/fuzz/fuzz_NAME.cpp.
targets=$(cd "$root/tests/fuzz" && ls fuzz_*.cpp | sed 's/\.cpp$//')
CC=clang CXX=clang++ cmake -S "$root" -B "$root/build-fuzz" -DCMAKE_BUILD_TYPE=Debug \
    -DDMS_FUZZ=ON >/dev/null
# shellcheck disable=SC2086
cmake --build "$root/build-fuzz" -j "$(nproc)" --target $targets
failed=0
for target in $targets; do
    echo "fuzz: $target for ${seconds}s"
    work=$(mktemp -d)
    cp "$root/tests/fuzz/corpus/$target"/* "$work/"
    status=0
    "$root/build-fuzz/tests/fuzz/$target" -max_total_time="$seconds" -timeout=10 \
        -rss_limit_mb=2048 -print_final_stats=1 "$work" >"$work.log" 2>&1 || status=$?
    tail -n 12 "$work.log"
    rm -rf "$work" "$work.log"
    if [ "$status" -ne 0 ]; then
        echo "fuzz: $target FAILED (exit $status)"
        failed=1
    fi
done
exit "$failed"
