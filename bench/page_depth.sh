#!/bin/sh
# How Browse and memory grow with the library: scans CORPUS with this
# build's dmsd in a private network namespace (loopback only), then times
# Browse of the first and of the last page (100 items) of the largest
# container and reads the daemon's resident memory.
#
# usage: bench/page_depth.sh CORPUS_DIR [BUILD_DIR] [REQUESTS]
#   CORPUS_DIR  a media folder, e.g. one made by ../shared/bench-peers/make-corpus.sh
#   BUILD_DIR   holding app/dmsd (default: build)
#   REQUESTS    timed Browse requests per page (default: 200)
# Prints the daemon's scan line and one JSON line. Needs root (unshare -n).
set -eu
HERE=$(cd "$(dirname "$0")" && pwd)
CORPUS=${1:?usage: page_depth.sh CORPUS_DIR [BUILD_DIR] [REQUESTS]}
BUILD=${2:-$HERE/../build}
REQUESTS=${3:-200}
DMSD=$(cd "$BUILD" && pwd)/app/dmsd
[ -x "$DMSD" ] || { echo "page_depth: no $DMSD (build first)" >&2; exit 1; }
[ -d "$CORPUS" ] || { echo "page_depth: no folder $CORPUS" >&2; exit 1; }
STATE=$(mktemp -d /tmp/dms-page-depth.XXXXXX)
trap 'rm -rf "$STATE"' EXIT
export DMSD CORPUS STATE REQUESTS HERE
unshare -n sh -c '
  set -eu
  ip link set lo up
  "$DMSD" --media "$CORPUS" --state "$STATE/state" --upnp-port 49300 >"$STATE/log" 2>&1 &
  pid=$!
  n=0
  until grep -q "scan of .* done\|scan of .* failed" "$STATE/log"; do
    kill -0 $pid 2>/dev/null || { cat "$STATE/log" >&2; exit 1; }
    n=$((n + 1)); [ $n -lt 36000 ] || { kill $pid; exit 1; }
    sleep 0.1
  done
  grep "scan of" "$STATE/log"
  status=0
  python3 "$HERE/page_depth.py" 49300 $pid "$REQUESTS" || status=$?
  kill -TERM $pid
  wait $pid || true
  exit $status
'
