#!/bin/sh
# Soak: dmsd under 30 minutes of mixed load (Browse and BrowseMetadata from 8
# clients, ranged downloads with hang-ups, uploads, imports, event
# subscriptions, a live-view viewer that reconnects), with its resident
# memory, open descriptors and threads sampled every 10 s. The same test as
# the two-minute E2E.Soak of CTest, run longer; it fails when the figures
# grow after the warm-up or a request of the load fails.
#
# usage: sh bench/soak.sh [BUILD_DIR [SECONDS]]
#   BUILD_DIR holds app/dmsd (default: build/ of this tree; build-asan for
#   the sanitizer build). SECONDS defaults to 1800. The samples and the
#   load's tally are written to BUILD_DIR/soak-report.json and printed.
#   Needs python3, ip, and root or user namespaces. Not part of CTest.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
seconds=${2:-1800}
media=${DMS_SHARED_MEDIA_DIR:-$root/../shared/media}
report="$build/soak-report.json"
echo "soak: $build/app/dmsd for $seconds s, samples every 10 s into $report"
# A sanitizer build: no RSS bound (its allocator keeps freed memory in
# quarantine), and time at the end for its leak check.
if grep -qE '^DMS_(SANITIZE|TSAN):BOOL=ON' "$build/CMakeCache.txt" 2>/dev/null; then
    export DMS_E2E_SANITIZER=1
fi
DMS_SOAK_SECONDS=$seconds DMS_SOAK_SAMPLE=10 DMS_SOAK_REPORT=$report \
    ASAN_OPTIONS=${ASAN_OPTIONS:-fast_unwind_on_malloc=0:detect_leaks=1} \
    python3 "$root/tests/e2e/soak_test.py" "$build/app/dmsd" "$media"
