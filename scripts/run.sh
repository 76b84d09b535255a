#!/bin/sh
# Sets up the machine, builds the project and runs dmsd with the given
# options (see dmsd --help). Without --media or --config it serves a small
# sample folder made here (scripts/make-sample-media.sh).
# Examples: sh scripts/run.sh
#           sh scripts/run.sh --media ~/Pictures --media ~/Music -v
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
sh "$root/scripts/setup.sh"
echo "build: $root/build (log in $root/build/build.log)"
mkdir -p "$root/build"
if ! sh "$root/scripts/build.sh" "$root/build" >"$root/build/build.log" 2>&1; then
    tail -n 30 "$root/build/build.log" >&2
    echo "build: failed; the whole log is $root/build/build.log" >&2
    exit 1
fi
has_media=""
for arg in "$@"; do
    case $arg in
        -m|--media|--media=*|-c|--config|--config=*|-h|--help|--version) has_media=1 ;;
    esac
done
if [ -z "$has_media" ]; then
    sh "$root/scripts/make-sample-media.sh" "$root/build/sample-media"
    set -- --media "$root/build/sample-media" "$@"
fi
exec "$root/build/app/dmsd" "$@"
