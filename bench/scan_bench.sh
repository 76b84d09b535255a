#!/bin/sh
# Scan benchmark: files per second of dmsd's start-up scan over a generated
# corpus (5,000 JPEG with EXIF thumbnails, 1,000 MP3, 100 MP4 by default),
# once into an empty database and once more over the unchanged corpus (the
# incremental rescan). Runs on loopback only, with --no-watch.
#
# usage: bench/scan_bench.sh [-b BUILD_DIR] [N_IMG N_MP3 N_MP4]
#   The corpus is made once by ../shared/bench-peers/make-corpus.sh into
#   $SCAN_CORPUS (default /tmp/dms-scan-corpus) and reused. The page cache is
#   left alone, so the figures are warm-cache ones. Not part of CTest.
set -eu
HERE=$(cd "$(dirname "$0")" && pwd)
ROOT=$(dirname "$HERE")
BUILD=$ROOT/build
if [ "${1:-}" = "-b" ]; then
    BUILD=$2
    shift 2
fi
N_IMG=${1:-5000}
N_MP3=${2:-1000}
N_MP4=${3:-100}
CORPUS=${SCAN_CORPUS:-/tmp/dms-scan-corpus}
DMSD=$BUILD/app/dmsd
[ -x "$DMSD" ] || { echo "scan_bench: no $DMSD (build first)" >&2; exit 1; }

"$ROOT/../shared/bench-peers/make-corpus.sh" "$N_IMG" "$N_MP3" "$N_MP4" 0 "$CORPUS"

STATE=$(mktemp -d /tmp/dms-scan-bench-state.XXXXXX)
OUT=$STATE/dmsd.out
trap 'rm -rf "$STATE"' EXIT

free_port() {
    python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'
}

# Runs dmsd until its scan summary appears; prints the summary line.
scan_once() {
    : > "$OUT"
    "$DMSD" --media "$CORPUS" --state "$STATE" --address 127.0.0.1 --no-watch \
        --port "$(free_port)" --upnp-port "$(free_port)" > "$OUT" 2>/dev/null &
    pid=$!
    while ! grep -q "done:" "$OUT"; do
        if ! kill -0 "$pid" 2>/dev/null; then
            echo "scan_bench: dmsd exited early" >&2
            cat "$OUT" >&2
            exit 1
        fi
        sleep 0.2
    done
    kill -TERM "$pid"
    wait "$pid" || true
    grep "done:" "$OUT"
}

echo "corpus: $CORPUS ($N_IMG JPEG, $N_MP3 MP3, $N_MP4 MP4)"
echo "first scan:  $(scan_once)"
echo "rescan:      $(scan_once)"
echo "rows: $(sqlite3 "$STATE/media.db" 'select count(*) from ObjectTable')"
