#!/bin/sh
# Builds the Debian package of dmsd (dpkg-buildpackage with debhelper) from a
# copy of the source tree and checks it with lintian.
# Output: build-deb/dmsd_VERSION_ARCH.deb (and the .buildinfo and .changes).
# Usage: scripts/package.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
out="$root/build-deb"
sh "$root/scripts/setup.sh" >/dev/null
sh "$root/scripts/setup.sh" dpkg-dev debhelper lintian >/dev/null

version=$(dpkg-parsechangelog -l "$root/debian/changelog" -S Version)
src="$out/src/dms-$version"
rm -rf "$out"
mkdir -p "$src"
# The files git knows of (committed or not), without build trees. One tar
# reads the whole list: xargs would split it into several archives once the
# list is long, and the reader stops at the first one's end.
(cd "$root" && git ls-files -z --cached --others --exclude-standard |
    tar cf - --null --no-recursion -T -) |
    (cd "$src" && tar xf -)
echo "package: building dms $version in $src (log in $out/build.log)"
if ! (cd "$src" && DEB_BUILD_OPTIONS="parallel=$(nproc) ${DEB_BUILD_OPTIONS:-}" \
        dpkg-buildpackage -b -us -uc) >"$out/build.log" 2>&1; then
    tail -n 40 "$out/build.log" >&2
    echo "package: dpkg-buildpackage failed" >&2
    exit 1
fi
mv "$out"/src/*.deb "$out"/src/*.buildinfo "$out"/src/*.changes "$out/"
echo "package: lintian"
lintian --fail-on error,warning --suppress-tags-from-file "$root/debian/lintian-accepted" \
    "$out"/*.changes
ls "$out"/*.deb
