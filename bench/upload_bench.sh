#!/bin/sh
# Upload benchmark: MB/s of HTTP POST uploads into dmsd (CreateObject, then
# curl to the importUri) against a plain copy on the same disk, 1 and 4 at
# once, with the server's CPU seconds and peak RSS per phase (a 256 MiB
# upload first, so that its peak can be set beside the 1 GiB ones).
# The daemon and the clients run in their own pair of network namespaces.
#
# usage: sh bench/upload_bench.sh [BUILD_DIR]
#   BUILD_DIR holds app/dmsd (default: build/ of this tree). Needs root (ip
#   netns), curl and python3. Files go to a temporary folder under
#   $BENCH_DIR (default /var/tmp), ~5.5 GiB at most: each phase's
#   copies and uploads are deleted after it. Everything is removed at the end.
#   Not part of CTest.
BENCH=upload_bench
NEED_MIB=5632
HELPER=upload_bench.py
. "$(dirname "$0")/bench_run.sh"
