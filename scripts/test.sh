#!/bin/sh
# Sets up the machine, builds the project and runs every test.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
sh "$root/scripts/setup.sh"
sh "$root/scripts/build.sh" "$root/build"
cd "$root/build"
ctest --output-on-failure -j "$(nproc)" --timeout 600
