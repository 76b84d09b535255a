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
#   $BENCH_DIR (default /var/tmp), ~3.5 GiB at most: each
#   transfer's output is deleted after it. Everything is removed at the end.
#   Not part of CTest.
BENCH=transfer_bench
NEED_MIB=3584
HELPER=transfer_bench.py
. "$(dirname "$0")/bench_run.sh"
