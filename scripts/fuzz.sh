#!/bin/sh
# Builds the libFuzzer targets with clang (ASan+UBSan) and runs each for a
# bounded time on a copy of its stored corpus. New crash inputs are left in
# the current directory as crash-*; add them to tests/fuzz/corpus/TARGET once
# fixed.
#
# Usage: scripts/fuzz.sh [--merge] [SECONDS_PER_TARGET [TARGET...]]
#   SECONDS_PER_TARGET defaults to 60; TARGETs default to every
#   tests/fuzz/fuzz_*.cpp. With --merge (a campaign), the inputs of the run
#   that reach coverage the stored corpus does not are added to it
#   (libFuzzer -merge=1; the stored seeds keep their names). Each run ends
#   with libFuzzer's final statistics (runs, coverage) for the record.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
merge=0
if [ "${1:-}" = "--merge" ]; then
    merge=1
    shift
fi
seconds=${1:-60}
[ $# -gt 0 ] && shift
if ! command -v clang++ >/dev/null 2>&1; then
    echo "fuzz: clang++ not found; skipping (install with scripts/setup.sh)"
    exit 0
fi
if [ $# -gt 0 ]; then
    targets="$*"
else
    # One target per tests/fuzz/fuzz_NAME.cpp.
    targets=$(cd "$root/tests/fuzz" && ls fuzz_*.cpp | sed 's/\.cpp$//')
fi
CC=clang CXX=clang++ cmake -S "$root" -B "$root/build-fuzz" -DCMAKE_BUILD_TYPE=Debug \
    -DDMS_FUZZ=ON >/dev/null
# shellcheck disable=SC2086
cmake --build "$root/build-fuzz" -j "$(nproc)" --target $targets
failed=0
for target in $targets; do
    echo "fuzz: $target for ${seconds}s"
    stored="$root/tests/fuzz/corpus/$target"
    binary="$root/build-fuzz/tests/fuzz/$target"
    work=$(mktemp -d)
    cp "$stored"/* "$work/"
    status=0
    "$binary" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 "$work" >"$work.log" 2>&1 || status=$?
    # The coverage reached (the last status line) and libFuzzer's summary.
    grep -E "cov: [0-9]+" "$work.log" | tail -n 1 || true
    grep -E "^stat::" "$work.log" || true
    tail -n 4 "$work.log"
    if [ "$status" -ne 0 ]; then
        echo "fuzz: $target FAILED (exit $status)"
        failed=1
    elif [ "$merge" -eq 1 ]; then
        before=$(ls "$stored" | wc -l)
        "$binary" -merge=1 "$stored" "$work" >"$work.merge.log" 2>&1
        echo "fuzz: $target corpus $before -> $(ls "$stored" | wc -l) inputs"
        rm -f "$work.merge.log"
    fi
    rm -rf "$work" "$work.log"
done
exit "$failed"
