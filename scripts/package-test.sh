#!/bin/sh
# Builds the Debian package (scripts/package.sh), installs it with apt into a
# fresh minimal Debian root (mmdebstrap; the project's tree is not in it),
# then starts dmsd there from the installed files as its service does and
# browses it (tests/package/installed_test.py). Root only; needs the Debian
# mirror. Usage: scripts/package-test.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
if [ "$(id -u)" -ne 0 ]; then
    echo "package-test: run as root (chroot, namespaces, apt)" >&2
    exit 1
fi
sh "$root/scripts/package.sh"
sh "$root/scripts/setup.sh" mmdebstrap util-linux systemd >/dev/null
deb=$(ls "$root"/build-deb/dmsd_*.deb)
target="$root/build-deb/root"
rm -rf "$target"
# The host's own package sources, so that the root gets what the host gets.
sources=$(ls /etc/apt/sources.list.d/*.sources /etc/apt/sources.list.d/*.list /etc/apt/sources.list 2>/dev/null || true)
echo "package-test: making a Debian root with $(basename "$deb") installed (log in $root/build-deb/root.log)"
# Twice: a mirror in the middle of a sync serves indexes that do not match.
for attempt in 1 2; do
    rm -rf "$target"
    # shellcheck disable=SC2086
    if mmdebstrap --variant=apt \
            --customize-hook="copy-in $deb /tmp" \
            --customize-hook="chroot \"\$1\" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends /tmp/$(basename "$deb")" \
            bookworm "$target" $sources >"$root/build-deb/root.log" 2>&1; then
        break
    fi
    tail -n 30 "$root/build-deb/root.log" >&2
    if [ "$attempt" = 2 ]; then
        echo "package-test: the package did not install" >&2
        exit 1
    fi
    sleep 30
done
sh "$root/scripts/make-sample-media.sh" "$root/build-deb/sample-media"
python3 "$root/tests/package/installed_test.py" "$target" "$root/build-deb/sample-media"
rm -rf "$target"
