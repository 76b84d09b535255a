# The shared half of the transfer benchmarks (upload_bench.sh,
# transfer_bench.sh), sourced by them with BENCH (their name), NEED_MIB (free
# space they need) and HELPER (their measuring Python script) set, and the
# build folder as $1. Makes a work folder with a 1 GiB and a 256 MiB MP4,
# runs the helper on them, and removes everything at the end, also on a
# signal.
set -eu
HERE=$(cd "$(dirname "$0")" && pwd)
BUILD=${1:-$HERE/../build}
[ -x "$BUILD/app/dmsd" ] || { echo "$BENCH: no $BUILD/app/dmsd (build first)" >&2; exit 1; }
DMSD=$(cd "$BUILD" && pwd)/app/dmsd
[ "$(id -u)" = 0 ] || { echo "$BENCH: needs root for ip netns" >&2; exit 1; }
BASE=${BENCH_DIR:-/var/tmp}

AVAIL_KIB=$(df -Pk "$BASE" | awk 'NR == 2 { print $4 }')
echo "disk: $(df -Ph "$BASE" | awk 'NR == 2 { print $4 " free on " $1 " (" $6 ")" }')"
if [ "$AVAIL_KIB" -lt $((NEED_MIB * 1024)) ]; then
    echo "$BENCH: needs $NEED_MIB MiB free in $BASE" >&2
    exit 1
fi

WORK=$(mktemp -d "$BASE/dms-$BENCH.XXXXXX")
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

# The helper stops the daemon and deletes the namespaces itself, also when it
# fails; a signal to this script ends it by its PID first.
python3 "$HERE/$HELPER" "$DMSD" "$WORK" "$WORK/small.mp4" "$WORK/big.mp4" &
PY_PID=$!
status=0
wait "$PY_PID" || status=$?
PY_PID=
exit "$status"
