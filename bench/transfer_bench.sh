#!/bin/sh
# Transfer benchmark: MB/s of ImportResource (dmsd fetches a file from a peer
# over HTTP GET) and ExportResource (dmsd POSTs one of its files to a peer)
# against curl doing the same GET and POST from the same namespace in the same
# run, for a 256 MiB and a 1 GiB file, with the server's CPU seconds and peak
# RSS per transfer (the 256 MiB peak beside the 1 GiB one: memory stays flat).
# The daemon runs in one network namespace, the peers in another.
#
# usage: sh bench/transfer_bench.sh [BUILD_DIR]
#   BUILD_DIR holds app/dmsd (default: build/ of this tree). Needs root (ip
#   netns), curl and python3. Files go to a temporary folder under
#   $TRANSFER_BENCH_DIR (default /var/tmp), ~3.5 GiB at most: each
#   transfer's output is deleted after it. Everything is removed at the end.
#   Not part of CTest.
set -eu
HERE=$(cd "$(dirname "$0")" && pwd)
BUILD=${1:-$HERE/../build}
[ -x "$BUILD/app/dmsd" ] || { echo "transfer_bench: no $BUILD/app/dmsd (build first)" >&2; exit 1; }
DMSD=$(cd "$BUILD" && pwd)/app/dmsd
[ "$(id -u)" = 0 ] || { echo "transfer_bench: needs root for ip netns" >&2; exit 1; }
BASE=${TRANSFER_BENCH_DIR:-/var/tmp}

NEED_KIB=$((3584 * 1024))  # 1 GiB + 256 MiB sources, one 1 GiB output, slack
AVAIL_KIB=$(df -Pk "$BASE" | awk 'NR == 2 { print $4 }')
echo "disk: $(df -Ph "$BASE" | awk 'NR == 2 { print $4 " free on " $1 " (" $6 ")" }')"
if [ "$AVAIL_KIB" -lt "$NEED_KIB" ]; then
    echo "transfer_bench: needs $((NEED_KIB / 1024)) MiB free in $BASE" >&2
    exit 1
fi

WORK=$(mktemp -d "$BASE/dms-transfer-bench.XXXXXX")
chmod 755 "$WORK"
PY_PID=
cleanup() {
    if [ -n "$PY_PID" ]; then
        kill -TERM "$PY_PID" 2>/dev/null || true
        wait "$PY_PID" 2>/dev/null || true
    fi
    rm -rf "$WORK"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

echo "work: $WORK"
# A small real MP4 padded to SIZE bytes with a 'free' box of random bytes:
# nothing compresses, and dmsd registers it (random bytes alone are refused).
MP4=$HERE/../../shared/media/video/sample_h264_aac.mp4
mp4_of_size() {
    pad=$(($1 - $(wc -c < "$MP4")))
    cat "$MP4"
    printf "$(printf '\\%03o' $((pad >> 24 & 255)) $((pad >> 16 & 255)) \
        $((pad >> 8 & 255)) $((pad & 255)))free"
    head -c $((pad - 8)) /dev/urandom
}
echo "making a 1 GiB and a 256 MiB MP4 ..."
mp4_of_size 1073741824 > "$WORK/big.mp4"
mp4_of_size 268435456 > "$WORK/small.mp4"
sync

# The helper stops the daemon and the peers and deletes the namespaces itself,
# also when it fails; a signal to this script ends it by its PID first.
python3 "$HERE/transfer_bench.py" "$DMSD" "$WORK" "$WORK/small.mp4" "$WORK/big.mp4" &
PY_PID=$!
status=0
wait "$PY_PID" || status=$?
PY_PID=
exit "$status"
