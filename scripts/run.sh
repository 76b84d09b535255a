#!/bin/sh
# Sets up the machine, builds the project and runs dmsd with the given options
# (see build/app/dmsd --help). Example: sh scripts/run.sh --media ../shared/media
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
sh "$root/scripts/setup.sh"
sh "$root/scripts/build.sh" "$root/build"
exec "$root/build/app/dmsd" "$@"
