#!/bin/sh
# The side-by-side benchmark: this build's dmsd against the reference servers
# (minidlna; gerbera and rygel when installed) and nginx, all inside the benchmark's own network
# namespace, with the shared harness in ../shared/bench-peers.
#
# usage: bench/peers.sh [-b BUILD_DIR] [run-all.sh options]
#   -b  build directory holding app/dmsd (default: build)
#   The other options go to run-all.sh, e.g.
#     bench/peers.sh -s "dmsd minidlna nginx" -r 2          (the usual table)
#     bench/peers.sh -s "dmsd minidlna" -n "300 100 10 200" -r 1 -q   (smoke)
# Results (JSON per run, summary.md) go to $BENCH_RESULTS, by default
# /tmp/dms-bench-results. Needs root (ip netns), wrk, curl, ffmpeg, exiftool
# and the reference servers from Debian (installed on demand).
set -eu
HERE=$(cd "$(dirname "$0")" && pwd)
ROOT=$(dirname "$HERE")
BUILD=build
if [ "${1:-}" = "-b" ]; then
    BUILD=$2
    shift 2
fi
case "$BUILD" in /*) ;; *) BUILD="$ROOT/$BUILD" ;; esac
PEERS=$(cd "$ROOT/../shared/bench-peers" && pwd)
DMSD="$BUILD/app/dmsd"
[ -x "$DMSD" ] || { echo "peers.sh: $DMSD not found; build first (sh scripts/build.sh)" >&2; exit 1; }
[ "$(id -u)" -eq 0 ] || { echo "peers.sh: needs root for the benchmark namespace" >&2; exit 1; }

missing=""
for pkg in wrk minidlna nginx; do
    dpkg -s "$pkg" >/dev/null 2>&1 || missing="$missing $pkg"
done
if [ -n "$missing" ]; then
    echo "peers.sh: installing$missing (the servers are only ever started in the namespace)" >&2
    # Debian starts packaged daemons on install; keep them from starting
    # (a policy already in place is left as it is).
    guard=""
    if [ ! -e /usr/sbin/policy-rc.d ]; then
        printf '#!/bin/sh\nexit 101\n' > /usr/sbin/policy-rc.d
        chmod +x /usr/sbin/policy-rc.d
        guard=1
    fi
    status=0
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q $missing >&2 || status=$?
    [ -z "$guard" ] || rm -f /usr/sbin/policy-rc.d
    [ "$status" -eq 0 ] || exit "$status"
fi

export DMSD
export BENCH_RESULTS="${BENCH_RESULTS:-/tmp/dms-bench-results}"
mkdir -p "$BENCH_RESULTS"
exec "$PEERS/run-all.sh" "$@"
