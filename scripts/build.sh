#!/bin/sh
# Configures and builds one build tree.
# Usage: scripts/build.sh BUILD_DIR [extra cmake options...]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:?usage: build.sh BUILD_DIR [cmake options]}
shift
cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}" "$@" >/dev/null
cmake --build "$dir" -j "$(nproc)"
